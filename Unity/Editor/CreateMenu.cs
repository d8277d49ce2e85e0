using UnityEditor;
using UnityEngine;

namespace Nimb.Editor
{
    internal static class CreateMenu
    {
        [MenuItem("GameObject/Nimb/Volumetric Player", false, 10)]
        private static void CreatePlayer(MenuCommand command)
        {
            // Adding the component adds filter and renderer.
            var player = new GameObject("Volumetric Player", typeof(NimbPlayer));
            GameObjectUtility.SetParentAndAlign(player, command.context as GameObject);
            Undo.RegisterCreatedObjectUndo(player, "Create Volumetric Player");
            Selection.activeObject = player;
        }
    }
}
