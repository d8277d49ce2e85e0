// Loading and linear blend skinning of a glTF figure.
#include "Bench/FigureClip.h"

#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <assimp/Importer.hpp>
#include <cmath>
#include <map>
#include <stdexcept>

namespace Bench {
namespace {

using Authoring::Mesh;

constexpr double c_FramesPerSecond = 30;

/// The value of a track of keys at `time`, linear between keys, constant outside.
template <class Key, class Interpolate>
auto Sample(const Key* keys, unsigned count, double time, Interpolate interpolate) {
    unsigned next = 0;
    while (next < count && keys[next].mTime < time) {
        ++next;
    }
    if (next == 0 || next == count) {
        return keys[next == 0 ? 0 : count - 1].mValue;
    }
    const Key &a = keys[next - 1], &b = keys[next];
    return interpolate(a.mValue, b.mValue, static_cast<float>((time - a.mTime) / (b.mTime - a.mTime)));
}

aiMatrix4x4 SampleChannel(const aiNodeAnim& channel, double time) {
    const auto lerp = [](const aiVector3D& a, const aiVector3D& b, float t) { return a + (b - a) * t; };
    const auto slerp = [](const aiQuaternion& a, const aiQuaternion& b, float t) {
        aiQuaternion q;
        aiQuaternion::Interpolate(q, a, b, t);
        return q;
    };
    return aiMatrix4x4(Sample(channel.mScalingKeys, channel.mNumScalingKeys, time, lerp),
                       Sample(channel.mRotationKeys, channel.mNumRotationKeys, time, slerp),
                       Sample(channel.mPositionKeys, channel.mNumPositionKeys, time, lerp));
}

using NodeMatrices = std::map<std::string, aiMatrix4x4>;
using Channels = std::map<std::string, const aiNodeAnim*>;

void CollectWorldMatrices(const aiNode& node, const aiMatrix4x4& parent, const Channels& channels, double time,
                          NodeMatrices& world) {
    const std::string name = node.mName.C_Str();
    const auto channel = channels.find(name);
    const aiMatrix4x4 matrix =
        parent * (channel == channels.end() ? node.mTransformation : SampleChannel(*channel->second, time));
    world[name] = matrix;
    for (unsigned i = 0; i < node.mNumChildren; ++i) {
        CollectWorldMatrices(*node.mChildren[i], matrix, channels, time, world);
    }
}

void Skin(const aiMesh& source, const NodeMatrices& world, Mesh& mesh) {
    std::vector<aiVector3D> skinned(source.mNumVertices);
    for (unsigned b = 0; b < source.mNumBones; ++b) {
        const aiBone& bone = *source.mBones[b];
        const aiMatrix4x4 matrix = world.at(bone.mName.C_Str()) * bone.mOffsetMatrix;
        for (unsigned w = 0; w < bone.mNumWeights; ++w) {
            const aiVertexWeight& weight = bone.mWeights[w];
            skinned[weight.mVertexId] += (matrix * source.mVertices[weight.mVertexId]) * weight.mWeight;
        }
    }
    for (const aiVector3D& p : skinned) {
        mesh.positions.push_back({p.x, p.y, p.z});
    }
}

Mesh Topology(const aiMesh& source) {
    Mesh mesh;
    for (unsigned i = 0; i < source.mNumVertices; ++i) {
        mesh.texCoords.push_back({source.mTextureCoords[0][i].x, source.mTextureCoords[0][i].y});
    }
    for (unsigned i = 0; i < source.mNumFaces; ++i) {
        const aiFace& face = source.mFaces[i];
        if (face.mNumIndices == 3) {
            mesh.faces.push_back({{face.mIndices[0], face.mIndices[1], face.mIndices[2]}});
        }
    }
    return mesh;
}

}  // namespace

std::vector<Mesh> LoadFigureClip(const std::string& path) {
    Assimp::Importer importer;
    const aiScene* const scene = importer.ReadFile(path, aiProcess_Triangulate);
    if (scene == nullptr) {
        throw std::runtime_error(path + ": " + importer.GetErrorString());
    }
    if (scene->mNumMeshes == 0 || scene->mNumAnimations == 0 || !scene->mMeshes[0]->HasTextureCoords(0) ||
        !scene->mMeshes[0]->HasBones()) {
        throw std::runtime_error(path + ": no skinned, textured and animated mesh in it");
    }
    const aiMesh& source = *scene->mMeshes[0];
    const aiAnimation& animation = *scene->mAnimations[0];
    const double ticks = animation.mTicksPerSecond > 0 ? animation.mTicksPerSecond : 1000;
    Channels channels;
    for (unsigned i = 0; i < animation.mNumChannels; ++i) {
        channels[animation.mChannels[i]->mNodeName.C_Str()] = animation.mChannels[i];
    }

    const Mesh topology = Topology(source);
    std::vector<Mesh> frames;
    for (double time = 0; time < animation.mDuration; time += ticks / c_FramesPerSecond) {
        NodeMatrices world;
        CollectWorldMatrices(*scene->mRootNode, aiMatrix4x4(), channels, time, world);
        frames.push_back(topology);
        Skin(source, world, frames.back());
    }
    return frames;
}

}  // namespace Bench
