using UnityEditor;
using UnityEngine;

namespace Nimb.Editor
{
    internal static class CreateMenu
    {
        public const string DefaultName = "Volumetric Player";

        [MenuItem("GameObject/Nimb/Volumetric Player", false, 10)]
        private static void CreatePlayer(MenuCommand command)
        {
            Create(DefaultName, command.context as GameObject);
        }

        /// <summary>Makes an object with a player, which can be undone, and selects it.</summary>
        public static NimbPlayer Create(string name, GameObject parent)
        {
            // Adding the component adds filter and renderer.
            var created = new GameObject(name, typeof(NimbPlayer));
            GameObjectUtility.SetParentAndAlign(created, parent);
            Undo.RegisterCreatedObjectUndo(created, "Create " + name);
            Selection.activeObject = created;
            return created.GetComponent<NimbPlayer>();
        }
    }
}
