// Writes a clip and lets the plug-in open it.
#include "Authoring/Frame/FrameEncoder.h"
#include "Clip/Write/Mp4Writer.h"
#include "NimbUnityPluginML/NimbUnityPluginML.h"

#include <cstdio>
#include <vector>

int main() {
    Nimb::Authoring::VideoTrackOptions video;
    video.width = 64;
    video.height = 48;
    const std::vector<BYTE> picture(64 * 48 * 4, 128);
    const Nimb::Authoring::Mesh mesh{{{0, 0, 0}, {1, 0, 0}, {0, 2, 0}}, {{0, 0}, {1, 0}, {0, 1}}, {}, {{0, 1, 2}}};
    Nimb::Authoring::FrameEncoder encoder;
    Nimb::Authoring::Mp4Writer writer("consumer.mp4", video);
    writer.AddFrame(picture.data(), 64 * 4, encoder.KeyFrame(mesh).bytes);
    Nimb::Authoring::FileAttributes attributes;
    attributes.frameCount = 1;
    writer.Finish(attributes);

    const int player = CreateQuorObject();
    const NimbOpenInfo open{};
    NimbFileInfo file{};
    const bool opened = OpenQuorObject(player, "consumer.mp4", &open) != 0;
    GetQuorObjectFileInfo(player, &file);
    DestroyQuorObject(player);
    std::printf("opened: %d, %u x %u, %u frames\n", opened, file.textureWidth, file.textureHeight, file.frameCount);
    return opened && file.textureWidth == 64 && file.textureHeight == 48 && file.frameCount == 1 ? 0 : 1;
}
