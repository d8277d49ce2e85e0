// The built-in pipeline's shadows, as far as the package's shaders use them; only to compile against.
#ifndef AUTOLIGHT_INCLUDED
#define AUTOLIGHT_INCLUDED

float4 _WorldSpaceLightPos0;

#if defined(SHADOWS_SCREEN)
float4x4 unity_WorldToShadow[4];
UNITY_DECLARE_SHADOWMAP(_ShadowMapTexture);
#define UNITY_SHADOW_COORDS(index) float4 _ShadowCoord : TEXCOORD##index;
#define UNITY_TRANSFER_SHADOW(output, coord) output._ShadowCoord = mul(unity_WorldToShadow[0], mul(unity_ObjectToWorld, v.vertex)) + output.pos * 0;
#define UNITY_LIGHT_ATTENUATION(name, input, position) fixed name = UNITY_SAMPLE_SHADOW(_ShadowMapTexture, input._ShadowCoord);
#else
#define UNITY_SHADOW_COORDS(index)
#define UNITY_TRANSFER_SHADOW(output, coord)
#define UNITY_LIGHT_ATTENUATION(name, input, position) fixed name = 1;
#endif

#endif
