// Passes that write depth alone, shared by the other shaders.
Shader "Hidden/Nimb/Depth"
{
    Properties
    {
        [Enum(UnityEngine.Rendering.CullMode)] _Cull("Cull", Float) = 0
    }

    CGINCLUDE
    #include "NimbPicture.cginc"

    struct Varyings
    {
        float4 position : SV_POSITION;
        UNITY_VERTEX_OUTPUT_STEREO
    };

    Varyings Vertex(NimbVertex vertex)
    {
        Varyings varyings;
        UNITY_SETUP_INSTANCE_ID(vertex);
        UNITY_INITIALIZE_OUTPUT(Varyings, varyings);
        UNITY_INITIALIZE_VERTEX_OUTPUT_STEREO(varyings);
        varyings.position = UnityObjectToClipPos(vertex.position);
        return varyings;
    }

    fixed4 Fragment(Varyings varyings) : SV_Target
    {
        return 0;
    }
    ENDCG

    SubShader
    {
        Tags { "DisableBatching" = "True" }
        Cull [_Cull]
        ColorMask 0
        ZWrite On

        Pass
        {
            Name "DepthOnly"
            Tags { "LightMode" = "DepthOnly" }
            CGPROGRAM
            #pragma vertex Vertex
            #pragma fragment Fragment
            #pragma multi_compile_instancing
            ENDCG
        }

        Pass
        {
            Name "ShadowCaster"
            Tags { "LightMode" = "ShadowCaster" }
            CGPROGRAM
            #pragma vertex Vertex
            #pragma fragment Fragment
            #pragma multi_compile_instancing
            ENDCG
        }
    }
}
