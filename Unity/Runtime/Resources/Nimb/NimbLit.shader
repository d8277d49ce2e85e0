// The picture under the scene's main light, with its shadows, and its ambient light, by Lambert's law. Needs normals:
// those in the file, or the computed ones. One sub-shader for each pipeline; neither includes a pipeline's own files.
Shader "Nimb/Lit"
{
    Properties
    {
        [NoScaleOffset] _MainTex("Picture", 2D) = "black" {}
        _Color("Tint", Color) = (1, 1, 1, 1)
        [HideInInspector] _NimbEncoded("Encoded colours", Float) = 0  // the player sets it
        [Enum(UnityEngine.Rendering.CullMode)] _Cull("Cull", Float) = 0
    }

    CGINCLUDE
    #pragma target 3.0
    #pragma multi_compile_instancing
    #pragma multi_compile_fog
    #pragma enable_cbuffer
    #include "NimbPicture.cginc"

    half4 Lit(float2 uv, float3 normal, float facing, float3 toLight, half3 light)
    {
        half4 color = NimbPicture(uv);
        normal = normalize(normal) * (facing < 0 ? -1 : 1);
        color.rgb *= light * saturate(dot(normal, toLight)) + max(0, ShadeSH9(half4(normal, 1)));
        return color;
    }
    ENDCG

    SubShader
    {
        Tags { "RenderPipeline" = "UniversalPipeline" "RenderType" = "Opaque" "Queue" = "Geometry" "DisableBatching" = "True" }
        Cull [_Cull]

        // The one name that forward and deferred rendering both draw, and only once.
        Pass
        {
            Name "Forward"
            Tags { "LightMode" = "UniversalForwardOnly" }
            CGPROGRAM
            #pragma vertex Vertex
            #pragma fragment Fragment
            // Older pipelines set the cascades' keyword beside the first one, newer ones instead of it.
            #pragma multi_compile _ _MAIN_LIGHT_SHADOWS _MAIN_LIGHT_SHADOWS_SCREEN
            #pragma multi_compile _ _MAIN_LIGHT_SHADOWS_CASCADE
            #include "NimbUniversal.cginc"

            float4 _MainLightPosition;  // set by the pipeline; a direction
            half4 _MainLightColor;

            struct Varyings
            {
                float4 pos : SV_POSITION;
                float2 uv : TEXCOORD0;
                float3 normal : TEXCOORD1;
                float3 world : TEXCOORD2;
                float4 screen : TEXCOORD3;
                UNITY_FOG_COORDS(4)
                UNITY_VERTEX_OUTPUT_STEREO
            };

            Varyings Vertex(NimbVertex v)
            {
                Varyings varyings;
                UNITY_SETUP_INSTANCE_ID(v);
                UNITY_INITIALIZE_OUTPUT(Varyings, varyings);
                UNITY_INITIALIZE_VERTEX_OUTPUT_STEREO(varyings);
                varyings.pos = UnityObjectToClipPos(v.vertex);
                varyings.uv = v.uv;
                varyings.normal = UnityObjectToWorldNormal(NimbNormal(v.normal));
                varyings.world = mul(unity_ObjectToWorld, float4(v.vertex.xyz, 1)).xyz;
                varyings.screen = ComputeScreenPos(varyings.pos);
                UNITY_TRANSFER_FOG(varyings, varyings.pos);
                return varyings;
            }

            half4 Fragment(Varyings varyings, float facing : VFACE) : SV_Target
            {
                UNITY_SETUP_STEREO_EYE_INDEX_POST_VERTEX(varyings);
                half3 light = _MainLightColor.rgb * NimbMainLightShadow(varyings.world, varyings.screen);
                half4 color = Lit(varyings.uv, varyings.normal, facing, _MainLightPosition.xyz, light);
                UNITY_APPLY_FOG(varyings.fogCoord, color);
                return color;
            }
            ENDCG
        }
        UsePass "Hidden/Nimb/Depth/DEPTHONLY"
        UsePass "Hidden/Nimb/Depth/DEPTHNORMALS"
        UsePass "Hidden/Nimb/Depth/DEPTHNORMALSONLY"
        UsePass "Hidden/Nimb/Depth/SHADOWCASTER"
    }

    SubShader
    {
        Tags { "RenderType" = "Opaque" "Queue" = "Geometry" "DisableBatching" = "True" }
        Cull [_Cull]

        Pass
        {
            Tags { "LightMode" = "ForwardBase" }
            CGPROGRAM
            #pragma vertex Vertex
            #pragma fragment Fragment
            #pragma multi_compile_fwdbase nolightmap nodirlightmap nodynlightmap novertexlight
            #include "AutoLight.cginc"

            fixed4 _LightColor0;

            struct Varyings
            {
                float4 pos : SV_POSITION;
                float2 uv : TEXCOORD0;
                float3 normal : TEXCOORD1;
                float3 world : TEXCOORD2;
                UNITY_FOG_COORDS(3)
                UNITY_SHADOW_COORDS(4)
                UNITY_VERTEX_OUTPUT_STEREO
            };

            Varyings Vertex(NimbVertex v)
            {
                Varyings varyings;
                UNITY_SETUP_INSTANCE_ID(v);
                UNITY_INITIALIZE_OUTPUT(Varyings, varyings);
                UNITY_INITIALIZE_VERTEX_OUTPUT_STEREO(varyings);
                varyings.pos = UnityObjectToClipPos(v.vertex);
                varyings.uv = v.uv;
                varyings.normal = UnityObjectToWorldNormal(NimbNormal(v.normal));
                varyings.world = mul(unity_ObjectToWorld, float4(v.vertex.xyz, 1)).xyz;
                UNITY_TRANSFER_FOG(varyings, varyings.pos);
                UNITY_TRANSFER_SHADOW(varyings, v.uv);
                return varyings;
            }

            half4 Fragment(Varyings varyings, float facing : VFACE) : SV_Target
            {
                UNITY_SETUP_STEREO_EYE_INDEX_POST_VERTEX(varyings);
                UNITY_LIGHT_ATTENUATION(attenuation, varyings, varyings.world);
                half3 light = _LightColor0.rgb * attenuation;
                half4 color = Lit(varyings.uv, varyings.normal, facing, _WorldSpaceLightPos0.xyz, light);
                UNITY_APPLY_FOG(varyings.fogCoord, color);
                return color;
            }
            ENDCG
        }
        UsePass "Hidden/Nimb/Depth/SHADOWCASTERBUILTIN"
    }
}
