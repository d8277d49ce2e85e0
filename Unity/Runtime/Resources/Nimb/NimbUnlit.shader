// The picture as it was recorded, without any lighting. One sub-shader for each pipeline; the engine takes the one that
// fits. Neither includes a pipeline's own files, so the package needs none of them installed.
Shader "Nimb/Unlit"
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
        UNITY_FOG_COORDS(1)
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
        UNITY_TRANSFER_FOG(varyings, varyings.position);
        return varyings;
    }

    fixed4 Fragment(Varyings varyings) : SV_Target
    {
        fixed4 color = NimbPicture(varyings.uv);
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
            #pragma vertex Vertex
            #pragma fragment Fragment
            #pragma multi_compile_instancing
            #pragma multi_compile_fog
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
            CGPROGRAM
            #pragma vertex Vertex
            #pragma fragment Fragment
            #pragma multi_compile_instancing
            #pragma multi_compile_fog
            ENDCG
        }
        UsePass "Hidden/Nimb/Depth/SHADOWCASTER"
    }
}
