// Copies a picture that holds the video's own colours into a render texture: a project in linear space converts them here,
// and the GPU encodes them again as it writes an sRGB target.
Shader "Hidden/Nimb/Picture"
{
    Properties
    {
        [NoScaleOffset] _MainTex("Picture", 2D) = "black" {}
    }

    SubShader
    {
        Cull Off
        ZWrite Off
        ZTest Always

        Pass
        {
            CGPROGRAM
            #pragma target 3.0
            #pragma vertex Vertex
            #pragma fragment Fragment
            #include "UnityCG.cginc"

            sampler2D _MainTex;

            struct Varyings
            {
                float4 pos : SV_POSITION;
                float2 uv : TEXCOORD0;
            };

            Varyings Vertex(appdata_img v)
            {
                Varyings varyings;
                varyings.pos = UnityObjectToClipPos(v.vertex);
                varyings.uv = v.texcoord.xy;
                return varyings;
            }

            // By the curve itself: the shaders' usual approximation would be seen once it is encoded to 8 bits again.
            float3 Decode(float3 encoded)
            {
                float3 curve = pow((max(encoded, 0.04045) + 0.055) / 1.055, 2.4);
                return lerp(curve, encoded / 12.92, float3(encoded <= 0.04045));
            }

            float4 Fragment(Varyings varyings) : SV_Target
            {
                float3 color = tex2D(_MainTex, varyings.uv).rgb;
            #ifndef UNITY_COLORSPACE_GAMMA
                color = Decode(color);
            #endif
                return float4(color, 1);
            }
            ENDCG
        }
    }
}
