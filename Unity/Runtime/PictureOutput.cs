using System;
using UnityEngine;
using UnityEngine.Rendering;

namespace Nimb
{
    /// <summary>What a player does with mesh and picture.</summary>
    internal struct OutputSettings
    {
        /// <summary>A template; null: one is made of the shader.</summary>
        public Material Material;
        /// <summary>Null: the package's own.</summary>
        public Shader Shader;
        /// <summary>Empty: the material's main texture.</summary>
        public string TextureProperty;
        /// <summary>The renderer's own material stays, and only gets the texture.</summary>
        public bool UsePropertyBlock;
        public bool HasMipMaps;
    }

    /// <summary>
    /// Puts a clip's mesh and picture onto an object, and takes them off again: what the object showed before comes back.
    /// </summary>
    internal sealed class PictureOutput : IDisposable
    {
        private const string DefaultShader = "Nimb/Unlit";
        private const string CopyShader = "Hidden/Nimb/Picture";
        private static readonly int s_MainTexture = Shader.PropertyToID("_MainTex");
        private static readonly int s_Encoded = Shader.PropertyToID("_NimbEncoded");

        private readonly MeshFilter m_Filter;
        private readonly MeshRenderer m_Renderer;
        private readonly Playback m_Playback;
        private readonly Mesh m_FormerMesh;
        private readonly Material m_FormerMaterial;
        private readonly MaterialPropertyBlock m_FormerBlock;  // null: there was none, or it was left alone
        private readonly MotionVectorGenerationMode m_FormerMotion;
        private readonly Material m_Material;  // own; null with a property block
        private readonly RenderTexture m_Copy;  // null: the back end's texture is good as it is
        private Material m_CopyMaterial;  // made when it is first needed

        /// <summary>What materials show.</summary>
        public Texture Texture { get { return m_Copy != null ? m_Copy : m_Playback.Texture; } }

        /// <exception cref="ClipException">There is no shader to draw with.</exception>
        public PictureOutput(GameObject target, Playback playback, OutputSettings settings)
        {
            m_Playback = playback;
            m_Filter = target.GetComponent<MeshFilter>();
            m_Renderer = target.GetComponent<MeshRenderer>();
            m_FormerMesh = m_Filter.sharedMesh;
            m_FormerMaterial = m_Renderer.sharedMaterial;
            m_FormerMotion = m_Renderer.motionVectorGenerationMode;
            if (!settings.UsePropertyBlock)
            {
                m_Material = MakeMaterial(settings);
            }
            if (settings.HasMipMaps && playback.IsTextureEncoded)
            {
                m_Copy = MakeCopy(playback.Texture);
            }
            m_Filter.sharedMesh = playback.Mesh;
            // Vertices of one frame have no past in the one before.
            m_Renderer.motionVectorGenerationMode = MotionVectorGenerationMode.Camera;
            int property = string.IsNullOrEmpty(settings.TextureProperty) ? s_MainTexture
                : Shader.PropertyToID(settings.TextureProperty);
            float encoded = playback.IsTextureEncoded && m_Copy == null ? 1 : 0;
            if (settings.UsePropertyBlock)
            {
                m_FormerBlock = SetBlock(property, encoded);
                return;
            }
            if (string.IsNullOrEmpty(settings.TextureProperty))
            {
                m_Material.mainTexture = Texture;
            }
            else
            {
                m_Material.SetTexture(property, Texture);
            }
            m_Material.SetFloat(s_Encoded, encoded);
            m_Renderer.sharedMaterial = m_Material;
        }

        private static Material MakeMaterial(OutputSettings settings)
        {
            Shader shader = settings.Shader != null ? settings.Shader : Shader.Find(DefaultShader);
            if (settings.Material == null && shader == null)
            {
                throw new ClipException("The shader " + DefaultShader + " is not in this build: assign it to the player.");
            }
            Material material = settings.Material != null ? new Material(settings.Material) : new Material(shader);
            material.hideFlags = HideFlags.DontSave;
            return material;
        }

        private static RenderTexture MakeCopy(Texture texture)
        {
            var copy = new RenderTexture(texture.width, texture.height, 0, RenderTextureFormat.ARGB32, RenderTextureReadWrite.sRGB)
            {
                name = "Nimb picture with mip levels",
                hideFlags = HideFlags.DontSave,
                filterMode = FilterMode.Trilinear,
                wrapMode = TextureWrapMode.Clamp,
                useMipMap = true,
                autoGenerateMips = false
            };
            copy.Create();
            return copy;
        }

        /// <returns>What the renderer had; null when it had none.</returns>
        private MaterialPropertyBlock SetBlock(int property, float encoded)
        {
            MaterialPropertyBlock former = null;
            var block = new MaterialPropertyBlock();
            if (m_Renderer.HasPropertyBlock())
            {
                former = new MaterialPropertyBlock();
                m_Renderer.GetPropertyBlock(former);
                m_Renderer.GetPropertyBlock(block);
            }
            block.SetTexture(property, Texture);
            block.SetFloat(s_Encoded, encoded);
            m_Renderer.SetPropertyBlock(block);
            return former;
        }

        /// <summary>Copies the picture to where else it is wanted. Each time that the back end's may be another.</summary>
        /// <param name="target">May be null.</param>
        public void Refresh(RenderTexture target)
        {
            if (m_Copy != null)
            {
                Copy(m_Playback.Texture, m_Copy);
                m_Copy.GenerateMips();
            }
            if (target != null)
            {
                Copy(m_Playback.Texture, target);
            }
        }

        private void Copy(Texture from, RenderTexture to)
        {
            RenderTexture active = RenderTexture.active;
            if (m_Playback.IsTextureEncoded)
            {
                if (m_CopyMaterial == null)
                {
                    m_CopyMaterial = new Material(Shader.Find(CopyShader)) { hideFlags = HideFlags.DontSave };
                }
                Graphics.Blit(from, to, m_CopyMaterial);
            }
            else
            {
                Graphics.Blit(from, to);
            }
            RenderTexture.active = active;
        }

        /// <summary>Before mesh and texture go. The object itself may be gone already.</summary>
        public void Dispose()
        {
            if (m_Filter != null && m_Filter.sharedMesh == m_Playback.Mesh)
            {
                m_Filter.sharedMesh = m_FormerMesh;
            }
            if (m_Renderer != null)
            {
                m_Renderer.motionVectorGenerationMode = m_FormerMotion;
                if (m_Material == null)
                {
                    m_Renderer.SetPropertyBlock(m_FormerBlock);
                }
                else if (m_Renderer.sharedMaterial == m_Material)
                {
                    m_Renderer.sharedMaterial = m_FormerMaterial;
                }
            }
            Destroy(m_Material);
            Destroy(m_CopyMaterial);
            if (m_Copy != null)
            {
                m_Copy.Release();
                Destroy(m_Copy);
            }
        }

        private static void Destroy(UnityEngine.Object own)
        {
            if (own != null)
            {
                EngineObject.Destroy(own);
            }
        }
    }
}
