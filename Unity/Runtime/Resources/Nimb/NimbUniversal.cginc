// What passes need of the Universal Render Pipeline. A project may lack it, so none of its files are included: its
// variables and keywords stand here under the names that it sets.
#ifndef NIMB_UNIVERSAL_INCLUDED
#define NIMB_UNIVERSAL_INCLUDED

// ---- Casting shadows ----

float4 _ShadowBias;  // x along the light, y along the normal; the pipeline gives both a sign
float3 _LightDirection;  // towards it
float3 _LightPosition;

float4 NimbShadowCasterPosition(float3 position, float3 normal)
{
#if defined(_CASTING_PUNCTUAL_LIGHT_SHADOW)
    float3 toLight = normalize(_LightPosition - position);
#else
    float3 toLight = _LightDirection;
#endif
    float slope = 1 - saturate(dot(toLight, normal));
    float4 clip = UnityWorldToClipPos(position + toLight * _ShadowBias.x + normal * (slope * _ShadowBias.y));
#if !defined(_CASTING_PUNCTUAL_LIGHT_SHADOW)
    // What is nearer to a directional light than its shadow map begins still casts a shadow.
#if defined(UNITY_REVERSED_Z)
    clip.z = min(clip.z, clip.w * UNITY_NEAR_CLIP_VALUE);
#else
    clip.z = max(clip.z, clip.w * UNITY_NEAR_CLIP_VALUE);
#endif
#endif
    return clip;
}

// ---- Receiving the main light's shadow: one filtered sample ----

#if defined(_MAIN_LIGHT_SHADOWS_SCREEN)

UNITY_DECLARE_SCREENSPACE_TEXTURE(_ScreenSpaceShadowmapTexture);

half NimbMainLightShadow(float3 position, float4 screen)
{
    return UNITY_SAMPLE_SCREENSPACE_TEXTURE(_ScreenSpaceShadowmapTexture, screen.xy / screen.w).r;
}

#elif defined(_MAIN_LIGHT_SHADOWS) || defined(_MAIN_LIGHT_SHADOWS_CASCADE)

UNITY_DECLARE_SHADOWMAP(_MainLightShadowmapTexture);
float4x4 _MainLightWorldToShadow[5];  // of four cascades, and of what is beyond them
float4 _CascadeShadowSplitSpheres0;
float4 _CascadeShadowSplitSpheres1;
float4 _CascadeShadowSplitSpheres2;
float4 _CascadeShadowSplitSpheres3;
float4 _CascadeShadowSplitSphereRadii;  // squared
float4 _MainLightShadowParams;  // x strength; z and w: where shadows fade out, by squared distance

float NimbSquaredDistance(float3 a, float3 b)
{
    return dot(a - b, a - b);
}

int NimbCascade(float3 position)
{
#if defined(_MAIN_LIGHT_SHADOWS_CASCADE)
    float4 distances = float4(
        NimbSquaredDistance(position, _CascadeShadowSplitSpheres0.xyz),
        NimbSquaredDistance(position, _CascadeShadowSplitSpheres1.xyz),
        NimbSquaredDistance(position, _CascadeShadowSplitSpheres2.xyz),
        NimbSquaredDistance(position, _CascadeShadowSplitSpheres3.xyz));
    float4 isInside = float4(distances < _CascadeShadowSplitSphereRadii);
    // Only the first sphere that it is in counts.
    isInside.yzw = saturate(isInside.yzw - isInside.xyz);
    return int(4 - dot(isInside, float4(4, 3, 2, 1)));
#else
    return 0;
#endif
}

half NimbMainLightShadow(float3 position, float4 screen)
{
    float3 place = mul(_MainLightWorldToShadow[NimbCascade(position)], float4(position, 1)).xyz;
    if (place.z <= 0 || place.z >= 1)
    {
        return 1;  // outside of the map
    }
    half light = UNITY_SAMPLE_SHADOW(_MainLightShadowmapTexture, place);
    half fade = saturate(NimbSquaredDistance(position, _WorldSpaceCameraPos) * _MainLightShadowParams.z +
        _MainLightShadowParams.w);
    return lerp(1, light, _MainLightShadowParams.x * (1 - fade));
}

#else

half NimbMainLightShadow(float3 position, float4 screen)
{
    return 1;
}

#endif

// ---- Normals, as screen-space effects read them ----

// Signs that are never 0.
float2 NimbSigns(float2 v)
{
    return float2(v.x >= 0 ? 1 : -1, v.y >= 0 ? 1 : -1);
}

// Takes a direction in world space, one unit long.
float4 NimbPackNormal(float3 normal)
{
#if UNITY_VERSION < 202120
    // Of the camera's space, on an octahedron whose halves lie side by side.
    float3 view = mul((float3x3)UNITY_MATRIX_V, normal);
    view /= dot(abs(view), 1);
    float side = saturate(0.5 - 0.5 * view.x + 0.5 * view.y);
    return float4(view.z >= 0 ? side : -side, view.x + view.y, 0, 0);
#elif defined(_GBUFFER_NORMALS_OCT)
    // On an octahedron whose lower half is folded over the upper one, as two numbers of twelve bits in three bytes.
    normal /= max(dot(abs(normal), 1), 1e-6);
    float2 folded = normal.xy + NimbSigns(normal.xy) * saturate(-normal.z);
    float2 bits = floor(saturate(folded * 0.5 + 0.5) * 4095.5);
    float2 high = floor(bits / 256);
    float2 low = bits - high * 256;
    return float4(low, high.x + high.y * 16, 0) / 255;
#else
    return float4(normal, 0);
#endif
}

#endif
