// `nimb web`: what is in the folder and in the single file, with a few lines in place of the built player. That
// browsers play them is tested in Web/test.
#include "Authoring/Source/ImageFile.h"
#include "Tests/Tools/ToolTest.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

namespace ToolTest {
namespace {

using Nimb::Authoring::Image;
using Strings = std::vector<std::string>;

/// With all that could end the element in which it is inlined, or be taken for a placeholder.
constexpr const char c_Player[] =
    "const a = '</script>', b = /<\\/x|</SCRIPT/, c = '<!-- <script>', d = '{{title}}';\n";

class WebCommand : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directory(m_Player);
        for (const char* name : {"nimb-player.js", "nimb-player-worker.js", "nimb-clip.wasm"}) {
            WriteText(m_Player + "/" + name, name);
        }
        WriteText(m_Player + "/nimb-player-inline.js", c_Player);
        MakeClip({});
    }

    void MakeClip(const ClipTest::ClipRecipe& recipe) const { ClipTest::MakeClip(m_Clip, recipe); }

    ToolResult Web(const std::string& arguments, const std::string& before = "") const {
        return RunNimb("web " + arguments, before + " NIMB_WEB=" + m_Player);
    }

    /// Into a new folder.
    void MakeSite(const std::string& options) {
        std::filesystem::remove_all(m_Site);
        const ToolResult result = Web("'" + m_Clip + "' -o " + m_Site + " " + options);
        ASSERT_EQ(result.status, 0) << options << ": " << result.err;
    }

    /// Of a file in the site.
    std::string Text(const std::string& name) const { return TextOf(m_Site + "/" + name); }
    static std::string TextOf(const std::string& path) {
        const std::vector<unsigned char> bytes = ReadFile(path);
        return {bytes.begin(), bytes.end()};
    }

    void ExpectRefusal(const std::string& arguments, int status, const std::string& text,
                       const std::string& before = "") {
        const Strings files = FilesIn(m_Folder / "");
        const ToolResult result = Web(arguments, before);
        EXPECT_EQ(result.status, status) << arguments << ": " << result.err;
        EXPECT_NE(result.err.find(text), std::string::npos) << arguments << ": " << result.err;
        EXPECT_EQ(FilesIn(m_Folder / ""), files) << arguments;
    }

    const TemporaryFolder m_Folder;
    const std::string m_Player = m_Folder / "player";
    const std::string m_Clip = m_Folder / "my dancer #1.MP4";
    const std::string m_Site = m_Folder / "new/site";
    const std::string m_Single = m_Folder / "single.html";
};

/// What the first group of the pattern matches, all over the text.
Strings FindAll(const std::string& text, const std::string& pattern) {
    const std::regex regex(pattern, std::regex::icase);
    Strings found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
        found.push_back((*match)[1]);
    }
    return found;
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// Share of the pixels that are not like the one in the corner.
double DrawnShare(const Image& image) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < image.rgba.size(); i += 4) {
        count += std::equal(&image.rgba[i], &image.rgba[i] + 4, image.rgba.data()) ? 0 : 1;
    }
    return static_cast<double>(count) * 4 / static_cast<double>(image.rgba.size());
}

TEST_F(WebCommand, FolderHasEverythingThatItsPageNames) {
    MakeSite("--title 'A <b>\"clip\"</b> & more' --description 'One & two' --url https://example.org/show");
    EXPECT_EQ(FilesIn(m_Site), (Strings{"index.html", "my-dancer-1.mp4", "nimb-clip.wasm", "nimb-player-worker.js",
                                        "nimb-player.js", "page.css", "page.js", "poster.png", "preview.png"}));
    EXPECT_TRUE(ReadFile(m_Site + "/my-dancer-1.mp4") == ReadFile(m_Clip));
    for (const char* name : {"nimb-player.js", "nimb-player-worker.js", "nimb-clip.wasm"}) {
        EXPECT_EQ(Text(name), name);
    }
    const std::string page = Text("index.html");
    for (const std::string& name : FindAll(page, "(?:src|href|poster)=\"([^\"]*)\"")) {
        EXPECT_TRUE(std::filesystem::is_regular_file(m_Site + "/" + name)) << name;
    }
    EXPECT_FALSE(Contains(page + Text("page.css") + Text("page.js"), "{{"));
    EXPECT_TRUE(Contains(page, "<title>A &lt;b&gt;&quot;clip&quot;&lt;/b&gt; &amp; more</title>"));
    EXPECT_FALSE(Contains(page, "<b>"));
    EXPECT_TRUE(Contains(page, "property=\"og:description\" content=\"One &amp; two\""));
    EXPECT_TRUE(Contains(page, "property=\"og:image\" content=\"https://example.org/show/preview.png\""));
    // The page's policy lets none of these run.
    EXPECT_EQ(FindAll(page, "(<style|<script>|\\sstyle=|\\son[a-z]+=)"), Strings());
}

TEST_F(WebCommand, PosterShowsTheFirstFrameThatCanBeShown) {
    ClipTest::ClipRecipe recipe;
    recipe.frameCount = 3;
    recipe.delta.reset();
    for (const int missing : {0, 2}) {
        recipe.damage = [missing](int number, Nimb::Authoring::Bytes& mesh) {
            if (number < missing) {
                mesh.clear();
            }
        };
        MakeClip(recipe);
        MakeSite("--background '#20a040'");
        const Image poster = Nimb::Authoring::ReadImage(m_Site + "/poster.png");
        const Image preview = Nimb::Authoring::ReadImage(m_Site + "/preview.png");
        EXPECT_EQ(poster.Pixel(0, 0)[3], 0);
        EXPECT_GT(DrawnShare(poster), 0.005);
        EXPECT_EQ(std::vector<int>(preview.Pixel(0, 0), preview.Pixel(0, 0) + 4), (std::vector<int>{32, 160, 64, 255}));
        EXPECT_GT(DrawnShare(preview), 0.002);
        EXPECT_EQ(preview.width * 630, preview.height * 1200);
    }
}

TEST_F(WebCommand, SingleFileHasThePlayerAndTheClipInside) {
    std::vector<unsigned char> bytes = ReadFile(m_Clip);
    const unsigned char box[] = {0, 0x70, 0, 8, 'f', 'r', 'e', 'e'};  // 7 MiB: more than one part
    bytes.insert(bytes.end(), std::begin(box), std::end(box));
    for (unsigned int i = 0; i < 0x700000; ++i) {
        bytes.push_back(static_cast<unsigned char>(i * i >> 7));
    }
    ClipTest::WriteFile(m_Clip, bytes);
    const ToolResult result = Web("'" + m_Clip + "' --title '</title>' --single " + m_Single);
    ASSERT_EQ(result.status, 0) << result.err;

    std::string page = TextOf(m_Single);
    const std::string begin = "<script type=\"application/octet-stream\">", end = "</script>\n";
    WriteText(m_Folder / "decoded", "");
    int parts = 0;
    for (std::size_t at = page.find(begin); at != std::string::npos; at = page.find(begin), ++parts) {
        const std::size_t to = page.find(end, at);
        WriteText(m_Folder / "data", page.substr(at + begin.size(), to - at - begin.size()));
        EXPECT_EQ(RunCommand("base64 -d " + (m_Folder / "data") + " >>" + (m_Folder / "decoded")).status, 0);
        page.erase(at, to + end.size() - at);
    }
    EXPECT_EQ(parts, 3);
    EXPECT_TRUE(ReadFile(m_Folder / "decoded") == bytes);

    std::string player = c_Player;
    player.replace(player.find("</script"), 2, "<\\/");
    player.replace(player.find("</SCRIPT"), 2, "<\\/");
    player.replace(player.find("<!--"), 1, "\\x3C");
    EXPECT_TRUE(Contains(page, "<script type=\"module\">\n" + player + "</script>\n"));
    EXPECT_EQ(FindAll(page, "(</script)").size(), 2u);
    EXPECT_EQ(FindAll(page, "\\{\\{(\\w+)\\}\\}"), Strings{"title"});  // the player's own
    EXPECT_TRUE(Contains(page, "<title>&lt;/title&gt;</title>"));
    const Strings pictures = FindAll(page, "(?:src|href)=\"([^\"]{0,22})");
    EXPECT_EQ(pictures, Strings{"data:image/png;base64,"});
}

TEST_F(WebCommand, OptionsReachThePage) {
    ClipTest::ClipRecipe recipe;
    MakeSite("--autoplay --no-loop --camera-orbit '30deg 75deg 2m'");
    const std::string silent = Text("index.html");
    EXPECT_TRUE(Contains(silent, " controls autoplay camera-orbit=\"30deg 75deg 2m\">"));
    EXPECT_TRUE(Contains(silent, "property=\"og:image\" content=\"preview.png\""));
    EXPECT_TRUE(Contains(silent, "<title>my dancer #1</title>"));

    recipe.audioSeconds = 1;
    MakeClip(recipe);
    WriteText(m_Folder / "own", "\xff\xd8\xff\xe0 and so on");
    MakeSite("--autoplay --poster " + (m_Folder / "own") + " --background '#f0f0e0'");
    EXPECT_TRUE(Contains(Text("index.html"), " controls loop autoplay muted>"));
    EXPECT_TRUE(Contains(Text("index.html"), "poster=\"poster.jpeg\""));
    EXPECT_EQ(Text("poster.jpeg"), TextOf(m_Folder / "own"));
    EXPECT_TRUE(Contains(Text("page.css"), "--back: #f0f0e0;\n    --ink: #000000;"));
}

TEST_F(WebCommand, OverwritesOnlyWhenToldAndOnlyItsOwn) {
    MakeSite("--title First");
    WriteText(m_Site + "/other.txt", "stays");
    const std::string clip = "'" + m_Clip + "' -o " + m_Site;
    ExpectRefusal(clip, 2, "exists already; use -y");
    EXPECT_TRUE(Contains(Text("index.html"), "First"));
    ASSERT_EQ(Web(clip + " -y --title Second").status, 0);
    EXPECT_TRUE(Contains(Text("index.html"), "Second"));
    EXPECT_EQ(Text("other.txt"), "stays");

    ExpectRefusal(m_Site + "/my-dancer-1.mp4 -y -o " + m_Site, 2, "is also an input");
    WriteText(m_Single, "stays");
    ExpectRefusal("'" + m_Clip + "' --single " + m_Single, 2, "exists already; use -y");
    EXPECT_EQ(TextOf(m_Single), "stays");
}

TEST_F(WebCommand, RefusalsLeaveNothing) {
    const std::string to = " -o " + m_Site, clip = "'" + m_Clip + "'" + to;
    ClipTest::ClipRecipe bare;
    bare.damage = [](int, Nimb::Authoring::Bytes& mesh) { mesh.clear(); };
    const std::string bareClip = m_Folder / "bare.mp4", text = m_Folder / "text.mp4", large = m_Folder / "large.mp4";
    ClipTest::MakeClip(bareClip, bare);
    WriteText(text, "no clip");
    WriteText(large, "");
    std::filesystem::resize_file(large, 500'000'001);

    ExpectRefusal((m_Folder / "none.mp4") + to, 3, "none.mp4");
    ExpectRefusal(text + to, 3, text);
    ExpectRefusal(bareClip + to, 3, "no frame has a mesh");
    ExpectRefusal(large + " --single " + m_Single, 2, "-o FOLDER");
    ExpectRefusal("'" + m_Clip + "'", 2, "-o FOLDER");
    ExpectRefusal("'" + m_Clip + "' -o " + m_Single, 2, "--single");
    ExpectRefusal("'" + m_Clip + "' -o " + text, 4, "is not a folder");
    ExpectRefusal("'" + m_Clip + "' --single " + (m_Folder / "page"), 2, ".html");
    ExpectRefusal(clip + " --poster " + text, 3, "neither PNG nor JPEG nor WebP");
    ExpectRefusal(clip + " --background red", 2, "not a colour");
    ExpectRefusal(clip + " --url example.org", 2, "not an address");
    ExpectRefusal(clip + " --camera-orbit 30", 2, "not of the form");
    ExpectRefusal(clip, 4, "--poster FILE", "EGL_PLATFORM=x11");
    ExpectRefusal(clip, 4, m_Site, "ulimit -f 8;");
    ExpectRefusal("'" + m_Clip + "' --single " + m_Single, 4, m_Single, "ulimit -f 8;");
    std::filesystem::remove(m_Player + "/nimb-clip.wasm");
    ExpectRefusal(clip, 3, "--target web");
}

}  // namespace
}  // namespace ToolTest
