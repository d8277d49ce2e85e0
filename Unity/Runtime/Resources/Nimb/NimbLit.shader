// The picture under the scene's main light and its ambient light, by Lambert's law. Needs normals: those in the file, or
// the computed ones. One sub-shader for each pipeline; neither includes a pipeline's own files.
Shader "Nimb/Lit"
{
    Properties
    {
        [NoScaleOffset] _MainTex("Picture", 2D) = "black" {}
        _Color("Tint", Color) = (1, 1, 1, 1)
        [Enum(UnityEngine.Rendering.CullMode)] _Cull("Cull", Float) = 0
    }

    CGINCLUDE
    #include "NimbPicture.cginc"

    struct Varyings
    {
        float4 position : SV_POSITION;
        float2 uv : TEXCOORD0;
        float3 normal : TEXCOORD1;
        UNITY_FOG_COORDS(2)
        UNITY_VERTEX_OUTPUT_STEREO
    };

    Varyings Vertex(NimbVertex vertex)
    {
        Varyings varyings;
        UNITY_SETUP_INSTANCE_ID(vertex);
        UNITY_INITIALIZE_OUTPUT(Varyings, varyings);
        UNITY_INITIALIZE_VERTEX_OUTPUT_STEREO(varyings);
        varyings.position = UnityObjectToClipPos(vertex.position);
        varyings.uv = vertex.uv;
        // A vertex that no triangle touches has no direction: its computed normal is not a number.
        bool hasNormal = dot(vertex.normal, vertex.normal) > 0;
        varyings.normal = hasNormal ? UnityObjectToWorldNormal(vertex.normal) : float3(0, 1, 0);
        UNITY_TRANSFER_FOG(varyings, varyings.position);
        return varyings;
    }

    fixed4 Lit(Varyings varyings, float facing, float3 toLight, fixed3 lightColor)
    {
        fixed4 color = NimbPicture(varyings.uv);
        float3 normal = normalize(varyings.normal) * (facing < 0 ? -1 : 1);
        color.rgb *= lightColor * saturate(dot(normal, toLight)) + max(0, ShadeSH9(half4(normal, 1)));
        UNITY_APPLY_FOG(varyings.fogCoord, color);
        return color;
    }
    ENDCG

    SubShader
    {
        Tags { "RenderPipeline" = "UniversalPipeline" "RenderType" = "Opaque" "Queue" = "Geometry" "DisableBatching" = "True" }
        Cull [_Cull]

        Pass
        {
            Tags { "LightMode" = "UniversalForward" }
            CGPROGRAM
            #pragma target 3.0
            #pragma vertex Vertex
            #pragma fragment FragmentUniversal
            #pragma multi_compile_instancing
            #pragma multi_compile_fog

            float4 _MainLightPosition;  // set by the pipeline; a direction
            half4 _MainLightColor;

            fixed4 FragmentUniversal(Varyings varyings, float facing : VFACE) : SV_Target
            {
                return Lit(varyings, facing, _MainLightPosition.xyz, _MainLightColor.rgb);
            }
            ENDCG
        }
        UsePass "Hidden/Nimb/Depth/DEPTHONLY"
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
            #pragma target 3.0
            #pragma vertex Vertex
            #pragma fragment FragmentBuiltIn
            #pragma multi_compile_instancing
            #pragma multi_compile_fog

            fixed4 _LightColor0;

            fixed4 FragmentBuiltIn(Varyings varyings, float facing : VFACE) : SV_Target
            {
                return Lit(varyings, facing, _WorldSpaceLightPos0.xyz, _LightColor0.rgb);
            }
            ENDCG
        }
        UsePass "Hidden/Nimb/Depth/SHADOWCASTER"
    }
}
