// What the engine's shader includes declare, as far as the package's shaders use it; only to compile against. Names and
// types are the engine's, bodies are as short as they can be.
#ifndef UNITY_CG_INCLUDED
#define UNITY_CG_INCLUDED

#define UNITY_REVERSED_Z 1
#define UNITY_NEAR_CLIP_VALUE (1.0)
#define CBUFFER_START(name) cbuffer name {
#define CBUFFER_END };
#define UNITY_INITIALIZE_OUTPUT(type, name) name = (type)0;

typedef half fixed;
typedef half3 fixed3;
typedef half4 fixed4;

CBUFFER_START(UnityPerCamera)
    float4 _WorldSpaceCameraPos4;
    float4 _ProjectionParams;
CBUFFER_END
#define _WorldSpaceCameraPos _WorldSpaceCameraPos4.xyz

// ---- Instances and eyes ----

#if defined(INSTANCING_ON) || defined(STEREO_INSTANCING_ON)
#define UNITY_VERTEX_INPUT_INSTANCE_ID uint instanceID : SV_InstanceID;
static uint unity_InstanceID;
static uint unity_StereoEyeIndex;
cbuffer UnityInstancing_PerDraw0 { float4x4 unity_ObjectToWorldArray[2]; };
#define unity_ObjectToWorld unity_ObjectToWorldArray[unity_InstanceID]
#else
#define UNITY_VERTEX_INPUT_INSTANCE_ID
CBUFFER_START(UnityPerDraw)
    float4x4 unity_ObjectToWorld;
    float4x4 unity_WorldToObject;
    float4 unity_LODFade;
    float4 unity_WorldTransformParams;
CBUFFER_END
#endif
#if defined(STEREO_INSTANCING_ON)
#define UNITY_SETUP_INSTANCE_ID(input) { unity_StereoEyeIndex = input.instanceID & 1; unity_InstanceID = input.instanceID >> 1; }
#define UNITY_VERTEX_OUTPUT_STEREO uint eye : SV_RenderTargetArrayIndex;
#define UNITY_INITIALIZE_VERTEX_OUTPUT_STEREO(output) output.eye = unity_StereoEyeIndex;
#define UNITY_SETUP_STEREO_EYE_INDEX_POST_VERTEX(input) unity_StereoEyeIndex = input.eye;
cbuffer UnityStereoViewBuffer { float4x4 unity_StereoMatrixVP[2]; float4x4 unity_StereoMatrixV[2]; };
#define UNITY_MATRIX_VP unity_StereoMatrixVP[unity_StereoEyeIndex]
#define UNITY_MATRIX_V unity_StereoMatrixV[unity_StereoEyeIndex]
#define UNITY_DECLARE_SCREENSPACE_TEXTURE(tex) Texture2DArray tex; SamplerState sampler##tex
#define UNITY_SAMPLE_SCREENSPACE_TEXTURE(tex, uv) tex.Sample(sampler##tex, float3((uv).xy, (float)unity_StereoEyeIndex))
#else
#if defined(INSTANCING_ON)
#define UNITY_SETUP_INSTANCE_ID(input) { unity_InstanceID = input.instanceID; }
#else
#define UNITY_SETUP_INSTANCE_ID(input)
#endif
#define UNITY_VERTEX_OUTPUT_STEREO
#define UNITY_INITIALIZE_VERTEX_OUTPUT_STEREO(output)
#define UNITY_SETUP_STEREO_EYE_INDEX_POST_VERTEX(input)
float4x4 unity_MatrixVP;
float4x4 unity_MatrixV;
#define UNITY_MATRIX_VP unity_MatrixVP
#define UNITY_MATRIX_V unity_MatrixV
#define UNITY_DECLARE_SCREENSPACE_TEXTURE(tex) Texture2D tex; SamplerState sampler##tex
#define UNITY_SAMPLE_SCREENSPACE_TEXTURE(tex, uv) tex.Sample(sampler##tex, (uv).xy)
#endif

// ---- Functions ----

struct appdata_img
{
    float4 vertex : POSITION;
    half2 texcoord : TEXCOORD0;
    UNITY_VERTEX_INPUT_INSTANCE_ID
};

float4 UnityWorldToClipPos(float3 position) { return mul(UNITY_MATRIX_VP, float4(position, 1)); }
float4 UnityObjectToClipPos(float4 position) { return UnityWorldToClipPos(mul(unity_ObjectToWorld, position).xyz); }
float3 UnityObjectToWorldNormal(float3 normal) { return normalize(mul((float3x3)unity_ObjectToWorld, normal)); }
float4 ComputeScreenPos(float4 position) { return float4(position.xy * 0.5 + position.w * 0.5, position.zw); }
half3 GammaToLinearSpace(half3 color) { return color * color; }
half3 ShadeSH9(half4 normal) { return normal.xyz; }

// ---- Fog ----

#if defined(FOG_LINEAR) || defined(FOG_EXP) || defined(FOG_EXP2)
float4 unity_FogParams;
half4 unity_FogColor;
#define UNITY_FOG_COORDS(index) float fogCoord : TEXCOORD##index;
#define UNITY_TRANSFER_FOG(output, position) output.fogCoord = (position).z * unity_FogParams.z
#define UNITY_APPLY_FOG(coord, color) color.rgb = lerp(unity_FogColor.rgb, (color).rgb, saturate(coord))
#else
#define UNITY_FOG_COORDS(index)
#define UNITY_TRANSFER_FOG(output, position)
#define UNITY_APPLY_FOG(coord, color)
#endif

// ---- Shadows ----

#define UNITY_DECLARE_SHADOWMAP(tex) Texture2D tex; SamplerComparisonState sampler##tex
#define UNITY_SAMPLE_SHADOW(tex, coord) tex.SampleCmpLevelZero(sampler##tex, (coord).xy, (coord).z)

float4 unity_LightShadowBias;
float4 UnityClipSpaceShadowCasterPos(float4 position, float3 normal)
{
    return UnityWorldToClipPos(mul(unity_ObjectToWorld, position).xyz - UnityObjectToWorldNormal(normal) * unity_LightShadowBias.z);
}
#if defined(SHADOWS_CUBE)
#define V2F_SHADOW_CASTER float4 pos : SV_POSITION; float3 vec : TEXCOORD0
#define TRANSFER_SHADOW_CASTER_NORMALOFFSET(o) o.vec = mul(unity_ObjectToWorld, v.vertex).xyz; o.pos = UnityObjectToClipPos(v.vertex);
#define SHADOW_CASTER_FRAGMENT(i) return length(i.vec);
#else
#define V2F_SHADOW_CASTER float4 pos : SV_POSITION
#define TRANSFER_SHADOW_CASTER_NORMALOFFSET(o) o.pos = UnityClipSpaceShadowCasterPos(v.vertex, v.normal);
#define SHADOW_CASTER_FRAGMENT(i) return 0;
#endif

#endif
