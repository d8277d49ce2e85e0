// Passes without colours, shared by the other shaders: depth and normals for the Universal Render Pipeline, and shadow
// casters for it and for the built-in one.
//
// No pass tells of motion: the vertices of two frames need not be the same ones, so a mesh has no past. The player's
// renderer takes the camera's motion instead.
Shader "Hidden/Nimb/Depth"
{
    Properties
    {
        [NoScaleOffset] _MainTex("Picture", 2D) = "black" {}
        _Color("Tint", Color) = (1, 1, 1, 1)
        _NimbEncoded("Encoded colours", Float) = 0
        [Enum(UnityEngine.Rendering.CullMode)] _Cull("Cull", Float) = 0
    }

    CGINCLUDE
    #pragma target 3.0
    #pragma multi_compile_instancing
    #pragma enable_cbuffer
    #include "NimbPicture.cginc"
    #include "NimbUniversal.cginc"

    struct Varyings
    {
        float4 pos : SV_POSITION;
        float3 normal : TEXCOORD0;
        UNITY_VERTEX_OUTPUT_STEREO
    };

    Varyings Vertex(NimbVertex v)
    {
        Varyings varyings;
        UNITY_SETUP_INSTANCE_ID(v);
        UNITY_INITIALIZE_OUTPUT(Varyings, varyings);
        UNITY_INITIALIZE_VERTEX_OUTPUT_STEREO(varyings);
        varyings.pos = UnityObjectToClipPos(v.vertex);
        varyings.normal = UnityObjectToWorldNormal(NimbNormal(v.normal));
        return varyings;
    }

    Varyings VertexShadow(NimbVertex v)
    {
        Varyings varyings = Vertex(v);
        float3 position = mul(unity_ObjectToWorld, float4(v.vertex.xyz, 1)).xyz;
        varyings.pos = NimbShadowCasterPosition(position, varyings.normal);
        return varyings;
    }

    // Some versions of the pipeline take depth from a colour target.
    float4 FragmentDepth(Varyings varyings) : SV_Target
    {
        return varyings.pos.z;
    }

    float4 FragmentNormal(Varyings varyings, float facing : VFACE) : SV_Target
    {
        return NimbPackNormal(normalize(varyings.normal) * (facing < 0 ? -1 : 1));
    }
    ENDCG

    SubShader
    {
        Tags { "DisableBatching" = "True" }
        Cull [_Cull]
        ZWrite On

        Pass
        {
            Name "DepthOnly"
            Tags { "LightMode" = "DepthOnly" }
            ColorMask R
            CGPROGRAM
            #pragma vertex Vertex
            #pragma fragment FragmentDepth
            ENDCG
        }

        // The next two are one: the 2020 LTS knows the first name alone, and deferred rendering takes the second alone for
        // what it draws in a forward pass. Both write the same.
        Pass
        {
            Name "DepthNormals"
            Tags { "LightMode" = "DepthNormals" }
            CGPROGRAM
            #pragma vertex Vertex
            #pragma fragment FragmentNormal
            #pragma multi_compile _ _GBUFFER_NORMALS_OCT
            ENDCG
        }

        Pass
        {
            Name "DepthNormalsOnly"
            Tags { "LightMode" = "DepthNormalsOnly" }
            CGPROGRAM
            #pragma vertex Vertex
            #pragma fragment FragmentNormal
            #pragma multi_compile _ _GBUFFER_NORMALS_OCT
            ENDCG
        }

        Pass
        {
            Name "ShadowCaster"
            Tags { "LightMode" = "ShadowCaster" }
            ColorMask 0
            CGPROGRAM
            #pragma vertex VertexShadow
            #pragma fragment FragmentDepth
            #pragma multi_compile _ _CASTING_PUNCTUAL_LIGHT_SHADOW
            ENDCG
        }

        // The built-in pipeline writes distances as colours for point lights where they cannot be depth.
        Pass
        {
            Name "ShadowCasterBuiltIn"
            Tags { "LightMode" = "ShadowCaster" }
            CGPROGRAM
            #pragma vertex VertexBuiltIn
            #pragma fragment FragmentBuiltIn
            #pragma multi_compile_shadowcaster

            struct Caster
            {
                V2F_SHADOW_CASTER;
                UNITY_VERTEX_OUTPUT_STEREO
            };

            Caster VertexBuiltIn(NimbVertex v)
            {
                Caster caster;
                UNITY_SETUP_INSTANCE_ID(v);
                UNITY_INITIALIZE_OUTPUT(Caster, caster);
                UNITY_INITIALIZE_VERTEX_OUTPUT_STEREO(caster);
                v.normal = NimbNormal(v.normal);
                TRANSFER_SHADOW_CASTER_NORMALOFFSET(caster)
                return caster;
            }

            float4 FragmentBuiltIn(Caster caster) : SV_Target
            {
                SHADOW_CASTER_FRAGMENT(caster)
            }
            ENDCG
        }
    }
}
