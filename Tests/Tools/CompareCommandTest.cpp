// `nimb compare`: the figures of a clip, faults by name and frame, and what scripts get.
#include "Authoring/Source/ImageFile.h"
#include "Tests/Support/CounterFrame.h"
#include "Tests/Support/DecodedClip.h"
#include "Tests/Tools/ToolTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <regex>

namespace ToolTest {
namespace {

using Json = nlohmann::json;
using Nimb::Authoring::Image;
using Nimb::Authoring::Mesh;

constexpr double c_Pi = 3.14159265358979;

/// A tube around a line, closed at both ends, in a column of the texture.
void AddTube(Mesh& mesh, double fromX, double fromY, double toX, double toY, double radius, double left, double right) {
    constexpr UINT32 rings = 14, around = 16;
    const auto first = static_cast<UINT32>(mesh.positions.size());
    const double length = std::hypot(toX - fromX, toY - fromY);
    const double acrossX = (toY - fromY) / length, acrossY = -(toX - fromX) / length;
    for (UINT32 r = 0; r <= rings; ++r) {
        const double along = static_cast<double>(r) / rings;
        const double thick = radius * std::sqrt(std::max(1 - std::pow(2 * along - 1, 4), 0.0));
        for (UINT32 a = 0; a <= around; ++a) {
            const double angle = 2 * c_Pi * (a % around) / around;
            const double across = thick * std::cos(angle);
            mesh.positions.push_back({static_cast<float>(fromX + along * (toX - fromX) + across * acrossX),
                                      static_cast<float>(fromY + along * (toY - fromY) + across * acrossY),
                                      static_cast<float>(thick * std::sin(angle))});
            mesh.texCoords.push_back(
                {static_cast<float>(left + (right - left) * a / around), static_cast<float>(0.05 + 0.9 * along)});
            if (r < rings && a < around) {
                const UINT32 at = first + r * (around + 1) + a, above = at + around + 1;
                mesh.faces.push_back({{at, above, at + 1}});
                mesh.faces.push_back({{at + 1, above, above + 1}});
            }
        }
    }
}

/// 1.7 m high, with an arm of about half a metre that swings.
Mesh Figure(int frame, bool hasArm = true) {
    Mesh mesh;
    const double step = 0.03 * frame, swing = 0.25 * std::sin(0.9 * frame + 0.3);
    AddTube(mesh, step, 0, step + 0.1 * swing, 1.7, 0.25, 0.05, 0.6);
    if (hasArm) {
        AddTube(mesh, step + 0.2, 1.3, step + 0.75, 1.2 + swing, 0.06, 0.65, 0.95);
    }
    return mesh;
}

/// Stripes and blots that a shift by two pixels shows in.
Image Texture(int shiftX = 0, int shiftY = 0) {
    Image image(256, 256);
    for (std::size_t y = 0; y < image.height; ++y) {
        for (std::size_t x = 0; x < image.width; ++x) {
            const double u = static_cast<double>(x) - shiftX, v = static_cast<double>(y) - shiftY;
            const double level = 128 + 60 * std::sin(u / 3.1) * std::cos(v / 4.3) + 50 * std::sin(u / 11 + v / 7);
            for (std::size_t channel = 0; channel < 4; ++channel) {
                image.Pixel(x, y)[channel] = channel == 3 ? 255 : static_cast<BYTE>(level);
            }
        }
    }
    return image;
}

void Shift(Mesh& mesh, float x, float y, float z) {
    for (Nimb::Authoring::Vec3& p : mesh.positions) {
        p = {p.x + x, p.y + y, p.z + z};
    }
}

/// A tone that never repeats itself, later by `delay` seconds, as a file.
void WriteSound(const std::string& path, double seconds, double delay) {
    constexpr int rate = 48000;
    std::string bytes = "RIFF____WAVEfmt ";
    const auto put = [&](std::uint32_t value, int count) {
        for (int i = 0; i < count; ++i) {
            bytes += static_cast<char>(value >> (8 * i));
        }
    };
    const auto samples = static_cast<std::uint32_t>(seconds * rate);
    for (const auto& [value, count] :
         {std::pair<std::uint32_t, int>(16, 4), {1, 2}, {1, 2}, {rate, 4}, {2 * rate, 4}, {2, 2}, {16, 2}}) {
        put(value, count);
    }
    bytes += "data";
    put(2 * samples, 4);
    for (std::uint32_t i = 0; i < samples; ++i) {
        const double t = static_cast<double>(i) / rate - delay;
        const double tone = t < 0 ? 0 : 0.4 * std::sin(2 * c_Pi * (200 * t + 900 * t * t));
        put(static_cast<std::uint32_t>(static_cast<int>(tone * 32000)), 2);
    }
    WriteText(path, bytes);
}

/// What goes into a frame of a sequence.
struct Frame {
    Mesh mesh;
    Image texture;
};

class CompareCommand : public testing::Test {
protected:
    TemporaryFolder m_Folder;
    const std::string m_Clip = m_Folder / "clip.mp4";
    static constexpr const char* c_Quick = " --view-height 128 --samples 4000";

    /// A folder of OBJ files, each with a picture; `plant` may change a frame. Returns its name.
    std::string Write(const std::string& name, int frames, const std::function<void(int, Frame&)>& plant = {}) {
        const std::string folder = m_Folder / name;
        std::filesystem::create_directory(folder);
        for (int number = 0; number < frames; ++number) {
            Frame frame{Figure(number), Texture()};
            if (plant) {
                plant(number, frame);
            }
            const std::string stem = folder + "/f" + std::to_string(number);
            WriteText(stem + ".obj", ObjText(frame.mesh));
            Nimb::Authoring::WritePng(stem + ".png", frame.texture);
        }
        return folder;
    }

    static std::string ObjText(const Mesh& mesh) {
        std::string text;
        char line[120];
        for (std::size_t i = 0; i < mesh.positions.size(); ++i) {
            const Nimb::Authoring::Vec3& p = mesh.positions[i];
            const Nimb::Authoring::Vec2& t = mesh.texCoords[i];
            std::snprintf(line, sizeof line, "v %.9g %.9g %.9g\nvt %.9g %.9g\n", static_cast<double>(p.x),
                          static_cast<double>(p.y), static_cast<double>(p.z), static_cast<double>(t.u),
                          1 - static_cast<double>(t.v));
            text += line;
        }
        for (const TarnMeshFace& face : mesh.faces) {
            text += "f";
            for (const UINT32 v : face.v) {
                std::snprintf(line, sizeof line, " %u/%u", v + 1, v + 1);
                text += line;
            }
            text += "\n";
        }
        return text;
    }

    static std::string Input(const std::string& folder) { return folder + "/f%d.obj --texture " + folder + "/f%d.png"; }

    void Encode(const std::string& folder, const std::string& options = "") {
        const ToolResult result =
            RunNimb("encode " + Input(folder) + " -q -y --quality 8 -o " + m_Clip + " " + options);
        ASSERT_EQ(result.status, 0) << result.err;
    }

    ToolResult Compare(const std::string& folder, const std::string& options = "") {
        return RunNimb("compare " + Input(folder) + " " + m_Clip + c_Quick + " " + options);
    }

    Json CompareJson(const std::string& folder, const std::string& options = "") {
        const ToolResult result = Compare(folder, "--json " + options);
        EXPECT_EQ(result.err, "");
        const Json json = Json::parse(result.out, nullptr, false);
        EXPECT_FALSE(json.is_discarded()) << result.out;
        EXPECT_EQ(result.status, json["ok"] == true ? 0 : 1);
        return json;
    }

    /// "kind first-last" of each fault.
    static std::vector<std::string> Faults(const Json& json) {
        std::vector<std::string> faults;
        for (const Json& fault : json["faults"]) {
            std::string text = fault["kind"];
            if (!fault["first"].is_null()) {
                text += " " + fault["first"].dump() + "-" + fault["last"].dump();
            }
            faults.push_back(text);
        }
        return faults;
    }
};

using Strings = std::vector<std::string>;

TEST_F(CompareCommand, PlantedFaultsAreFoundAndNamedWithTheirFrames) {
    const std::string source = Write("source", 14);
    const std::string planted = Write("planted", 14, [](int number, Frame& frame) {
        if (number == 2) {
            Shift(frame.mesh, 0.0006f, -0.0006f, 0.0005f);  // a millimetre
        } else if (number == 4) {
            frame.mesh = Figure(number, false);
        } else if (number == 6) {
            frame.texture = Texture(2, 0);
        } else if (number == 8 || number == 10) {
            frame.mesh = Figure(18 - number);
        } else if (number == 12) {
            for (std::size_t i = 0; i < 40; ++i) {
                std::swap(frame.mesh.faces[i + 200].v[0], frame.mesh.faces[i + 200].v[1]);
            }
        } else if (number == 13) {
            for (std::size_t i = frame.mesh.positions.size() / 2; i < frame.mesh.positions.size(); ++i) {
                frame.mesh.positions[i].y -= 0.3f;  // the arm
            }
        }
    });
    WriteSound(m_Folder / "sound.wav", 0.5, 0);
    WriteSound(m_Folder / "late.wav", 0.5, 0.08);
    Encode(planted, "--audio " + (m_Folder / "late.wav"));
    const Json json = CompareJson(source, "--audio " + (m_Folder / "sound.wav"));
    EXPECT_EQ(Faults(json), (Strings{"shifted 2-2", "missing 4-4", "texture-shift 6-6", "swapped 8-8", "swapped 10-10",
                                     "flipped 12-12", "misplaced 13-13", "sound-late"}))
        << json["faults"].dump(1);
    const auto text = [&](std::size_t fault) { return json["faults"][fault]["text"].get<std::string>(); };
    EXPECT_TRUE(std::regex_search(text(0), std::regex(R"(0\.9[89] mm off, by \(0\.60, -0\.)"))) << text(0);  // 0.985
    EXPECT_NE(text(2).find("(2, 0) texels"), std::string::npos) << text(2);
    EXPECT_NE(text(3).find("frame 10 of the source"), std::string::npos) << text(3);
    EXPECT_NEAR(json["sound"]["offset"], 80, 1);
}

TEST_F(CompareCommand, AFinelyEncodedClipHasNoFaultAndFiguresFallWithTheErrorLimit) {
    const std::string source = Write("source", 4);
    WriteSound(m_Folder / "sound.wav", 0.2, 0);
    double mean = 0, p99 = 0, psnr = 1000;
    for (int i = 0; i < 8; ++i) {
        const double limit = 0.0001 * (1 << i);
        Encode(source, "--delta golomb --max-error " + std::to_string(limit) +
                           (i == 0 ? " --audio " + (m_Folder / "sound.wav") : ""));
        const Json json = CompareJson(source, i == 0 ? "--audio " + (m_Folder / "sound.wav") : "");
        const Json& summary = json["summary"];
        EXPECT_LE(summary["max"]["worst"], limit * 1000 * 1.01) << limit;
        EXPECT_GT(summary["mean"]["average"], mean) << limit;
        EXPECT_GT(summary["p99"]["average"], p99) << limit;
        EXPECT_LT(summary["pointpsnr"]["average"], psnr) << limit;
        mean = summary["mean"]["average"];
        p99 = summary["p99"]["average"];
        psnr = summary["pointpsnr"]["average"];
        if (limit < 0.005) {  // then rounding shifts whole frames, and that is said
            EXPECT_EQ(Faults(json), Strings{}) << limit << json["faults"].dump(1);
        }
        if (i == 0) {
            EXPECT_NEAR(json["sound"]["offset"], 0, 1);
            EXPECT_GT(summary["psnr"]["worst"], 40);
            EXPECT_GT(summary["ssim"]["worst"], 0.98);
            EXPECT_LT(summary["silhouette"]["worst"], 1);
            EXPECT_LT(summary["flicker"]["worst"], 2);
        }
    }
}

TEST_F(CompareCommand, ConditionsGiveScriptsAStatusAndNameWhatIsWrongWithThem) {
    const std::string source = Write("source", 2);
    Encode(source, "--max-error 0.002");
    EXPECT_EQ(Compare(source, "--fail-if 'p99>2mm, psnr<20,ssim<=0.5, silhouette>5%'").status, 0);
    const ToolResult failed = Compare(source, "--fail-if 'p99>2mm,max>0.1mm,average-mean>=1e-7m'");
    EXPECT_EQ(failed.status, 1);
    EXPECT_NE(failed.out.find("failed: max>0.1mm: "), std::string::npos) << failed.out;
    EXPECT_NE(failed.out.find(" mm in frame "), std::string::npos) << failed.out;
    EXPECT_NE(failed.out.find("failed: average-mean>=1e-7m: "), std::string::npos) << failed.out;
    EXPECT_EQ(failed.out.find("failed: p99"), std::string::npos) << failed.out;
    const Json max = CompareJson(source)["summary"]["max"];
    const std::string between = std::to_string((max["average"].get<double>() + max["worst"].get<double>()) / 2) + "mm";
    EXPECT_EQ(Compare(source, "--fail-if 'max>" + between + "'").status, 1);
    EXPECT_EQ(Compare(source, "--fail-if 'average-max>" + between + "'").status, 0);

    const char* const wrong[][2] = {
        {"p98>2mm", "'p98' is not a figure"},     {"p99>2", "the unit is missing: mm"}, {"p99>2kg", "not 'kg'"},
        {"psnr<a", "'a' is not a number"},        {"psnr", "not of the form"},          {"psnr<38,", "''"},
        {"ssim<0.9dB", "the number has no unit"}, {"sound>40ms", "needs --audio"}};
    for (const auto& [condition, text] : wrong) {
        const ToolResult result = Compare(source, std::string("--fail-if '") + condition + "'");
        EXPECT_EQ(result.status, 2) << condition;
        EXPECT_NE(result.err.find(text), std::string::npos) << condition << ": " << result.err;
    }
}

TEST_F(CompareCommand, ClipsThatCannotBeComparedSaySo) {
    const std::string source = Write("source", 6);
    Encode(source);
    EXPECT_EQ(RunNimb("compare " + Input(source) + " " + (m_Folder / "none.mp4")).status, 3);
    EXPECT_EQ(RunNimb("compare " + Input(m_Folder / "none") + " " + m_Clip).status, 3);
    EXPECT_EQ(RunNimb("compare " + m_Clip).status, 2);
    WriteText(m_Folder / "text.mp4", "not a clip");
    EXPECT_EQ(RunNimb("compare " + Input(source) + " " + (m_Folder / "text.mp4")).status, 3);

    const Json shorter = CompareJson(source, "--first 1");
    EXPECT_EQ(shorter["faults"][0]["kind"], "frame-count");
    EXPECT_NE(shorter["faults"][0]["text"].get<std::string>().find("6 frames, the source 5"), std::string::npos);
    EXPECT_EQ(Faults(shorter).back(), "swapped 1-4") << shorter["faults"].dump(1);  // each by one

    // The clip says how many frames it has before it ends too early.
    EXPECT_EQ(RunCommand("ffmpeg -v error -y -i " + m_Clip + " -c copy -movflags +faststart " + (m_Folder / "fast.mp4"))
                  .status,
              0);
    std::vector<unsigned char> bytes = ReadFile(m_Folder / "fast.mp4");
    bytes.resize(bytes.size() * 2 / 3);
    ClipTest::WriteFile(m_Clip, bytes);
    const ToolResult cut = Compare(source, "--json");
    EXPECT_TRUE(cut.status == 1 || cut.status == 3) << cut.status << cut.err;
    if (cut.status == 1) {
        EXPECT_NE(cut.out.find("unreadable"), std::string::npos) << cut.out;
    }
}

TEST_F(CompareCommand, FramesWithoutFacesAreNamed) {
    const std::string source = Write("source", 3);
    Nimb::Authoring::FrameEncoder encoder;
    std::vector<Nimb::Authoring::EncodedFrame> frames;
    for (int i = 0; i < 3; ++i) {
        Mesh mesh = Figure(i);
        if (i == 1) {
            for (TarnMeshFace& face : mesh.faces) {
                face = {{0, 0, 0}};
            }
        }
        Nimb::Authoring::KeyFrameOptions options;
        options.indices = Nimb::Authoring::IndexCoding::List1;
        frames.push_back(encoder.KeyFrame(mesh, options));
    }
    ClipTest::WriteClip(m_Clip, frames);
    const Json json = CompareJson(source);
    const Strings faults = Faults(json);
    EXPECT_NE(std::find(faults.begin(), faults.end(), "no-mesh 1-1"), faults.end()) << json["faults"].dump(1);
    EXPECT_EQ(json["faults"].dump().find("the source has none"), std::string::npos) << json["faults"].dump(1);
    EXPECT_TRUE(json["frames"][1]["mean"].is_null());
    EXPECT_TRUE(json["frames"][0]["mean"].is_number());
}

TEST_F(CompareCommand, ThePageHoldsEverythingAndOverwritesNothing) {
    const std::string source = Write("source", 3);
    Encode(source);
    const std::string page = m_Folder / "report.html";
    const ToolResult result = RunNimb("compare " + Input(source) + " " + m_Clip + c_Quick + " --html " + page,
                                      "export NIMB_WEB=" + (m_Folder / "nowhere") + ";");
    EXPECT_EQ(result.status, 0) << result.err;
    const std::vector<unsigned char> bytes = ReadFile(page);
    const std::string text(bytes.begin(), bytes.end());
    EXPECT_NE(text.find("needs the web player"), std::string::npos);
    EXPECT_NE(text.find("data:image/png;base64,"), std::string::npos);
    EXPECT_EQ(text.find("{{"), std::string::npos);
    EXPECT_EQ(text.find("src=\"http"), std::string::npos);
    const std::size_t json = text.find("id=\"report\">") + 12;
    EXPECT_EQ(Json::parse(text.substr(json, text.find("</script>", json) - json))["frames"].size(), 3u);

    // With a player: its module, and the errors as a clip for it.
    WriteText(m_Folder / "nimb-player-inline.js", "export const player = '</script>';");
    EXPECT_EQ(RunNimb("compare " + Input(source) + " " + m_Clip + c_Quick + " -y --html " + page,
                      "export NIMB_WEB=" + (m_Folder / "") + ";")
                  .status,
              0);
    const std::vector<unsigned char> full = ReadFile(page);
    const std::string shown(full.begin(), full.end());
    EXPECT_NE(shown.find("export const player = '<\\/script>'"), std::string::npos);
    EXPECT_NE(shown.find("id=\"error-clip\">AAAA"), std::string::npos);

    EXPECT_EQ(Compare(source, "--html " + page).status, 2);
    EXPECT_EQ(Compare(source, "-y --html " + m_Clip).status, 2);
}

}  // namespace
}  // namespace ToolTest
