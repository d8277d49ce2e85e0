// The player's vertices, its picture and the shaders' properties. Shaders for them are tagged DisableBatching: the engine
// batches small meshes from their vertices in memory, where the player's may be zeros.
#ifndef NIMB_PICTURE_INCLUDED
#define NIMB_PICTURE_INCLUDED

#include "UnityCG.cginc"

struct NimbVertex
{
    float4 vertex : POSITION;  // the name that the engine's shadow macros take
    float3 normal : NORMAL;
    float2 uv : TEXCOORD0;
    UNITY_VERTEX_INPUT_INSTANCE_ID
};

sampler2D _MainTex;

// All properties but the texture, alike in every pass: the SRP Batcher asks for that.
CBUFFER_START(UnityPerMaterial)
    half4 _Color;
    float _NimbEncoded;
CBUFFER_END

// Row 0 of the texture is the picture's top row, and v = 0 in the mesh is that row: nothing flips. Where the player says
// so, the texture holds the video's colours as they are, and a project in linear space converts them here.
half4 NimbPicture(float2 uv)
{
    half4 color = half4(tex2D(_MainTex, uv).rgb, 1);
#ifndef UNITY_COLORSPACE_GAMMA
    if (_NimbEncoded > 0.5)
    {
        color.rgb = GammaToLinearSpace(color.rgb);
    }
#endif
    return color * _Color;
}

// A mesh may come without normals, and a vertex that no triangle touches has a computed one that is not a number. Neither
// can be made one unit long.
float3 NimbNormal(float3 normal)
{
    return dot(normal, normal) > 0 ? normal : float3(0, 1, 0);
}

#endif
