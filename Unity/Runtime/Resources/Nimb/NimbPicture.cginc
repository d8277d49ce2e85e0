// The player's vertices and its picture. Shaders for them are tagged DisableBatching: the engine batches small meshes from
// their vertices in memory, where the player's are zeros.
#ifndef NIMB_PICTURE_INCLUDED
#define NIMB_PICTURE_INCLUDED

#include "UnityCG.cginc"

struct NimbVertex
{
    float4 position : POSITION;
    float3 normal : NORMAL;
    float2 uv : TEXCOORD0;
    UNITY_VERTEX_INPUT_INSTANCE_ID
};

sampler2D _MainTex;
fixed4 _Color;

// Row 0 of the texture is the picture's top row, and v = 0 in the mesh is that row: nothing flips. The texture holds the
// video's colours as they are, so a project in linear space converts them here.
fixed4 NimbPicture(float2 uv)
{
    fixed4 color = fixed4(tex2D(_MainTex, uv).rgb, 1);
#ifndef UNITY_COLORSPACE_GAMMA
    color.rgb = GammaToLinearSpace(color.rgb);
#endif
    return color * _Color;
}

#endif
