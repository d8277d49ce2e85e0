// The picture as it was recorded, without any lighting. One sub-shader for each pipeline; the engine takes the one that
// fits. Neither includes a pipeline's own files, so the package needs none of them installed.
Shader "Nimb/Unlit"
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

    struct Varyings
    {
        float4 pos : SV_POSITION;
        float2 uv : TEXCOORD0;
        UNITY_FOG_COORDS(1)
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
        UNITY_TRANSFER_FOG(varyings, varyings.pos);
        return varyings;
    }

    half4 Fragment(Varyings varyings) : SV_Target
    {
        half4 color = NimbPicture(varyings.uv);
        UNITY_APPLY_FOG(varyings.fogCoord, color);
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
            CGPROGRAM
            #pragma vertex Vertex
            #pragma fragment Fragment
            ENDCG
        }
        UsePass "Hidden/Nimb/Depth/SHADOWCASTERBUILTIN"
    }
}
