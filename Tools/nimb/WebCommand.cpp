// `nimb web`: a page that shows a clip in a browser, as a folder for a web server or as one file.
#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Source/FileBytes.h"
#include "Authoring/Source/ImageFile.h"
#include "Clip/Read/ClipMeshes.h"
#include "Clip/Read/ClipReader.h"
#include "Tools/nimb/CommandLine.h"
#include "Tools/nimb/Commands.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/HtmlText.h"
#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/PageFile.h"
#include "Tools/nimb/StandardStreams.h"
#include "Tools/nimb/WebPage.h"
#include "Tools/nimb/WebPlayer.h"
#include "Tools/nimb/WebPoster.h"

#include <cstdio>
#include <deque>
#include <filesystem>
#include <memory>
#include <string>

namespace Nimb::Tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* c_Examples =
    "Examples:\n"
    "  nimb web dancer.mp4 -o site --title 'The dancer' --url https://example.org/dancer/\n"
    "      a folder to put on any web server; `npx serve site` shows it here\n"
    "  nimb web dancer.mp4 --single dancer.html\n"
    "      one file with everything inside, which opens by double click\n"
    "  nimb play dancer.mp4 --snapshot poster.png --at 3s && nimb web dancer.mp4 -o site --poster poster.png\n"
    "      another picture than that of the first frame\n"
    "Previews of links, as in chats, show their picture only where --url says at which address the folder will be.";

/// Browsers keep a page's text in memory, and several copies of it while they take it apart.
constexpr std::uintmax_t c_MostInOnePage = 500'000'000;

/// Of the clip, in one element of a page.
constexpr std::size_t c_PieceBytes = 3 << 20;

struct Arguments {
    std::string clip;
    std::string folder;
    std::string single;
    std::string poster;
    std::string background;
    WebPage page;
    CameraOrbit orbit;
    bool overwrite = false;
};

/// A file of the page that is made here: name and text.
struct MadeFile {
    std::string name;
    std::string bytes;
};

std::string AsString(const std::vector<BYTE>& bytes) {
    return std::string(Authoring::AsText(bytes));
}

/// Throws InputError unless there is something to show. Says whether there is something to hear.
bool CheckClip(const std::string& path) {
    Authoring::ClipReader reader(path);
    const std::optional<std::size_t> video = reader.VideoTrack();
    if (!video) {
        throw Authoring::InputError(path + ": has no video track");
    }
    Authoring::ClipMeshes meshes(reader);
    Authoring::ClipSample sample;
    bool hasMesh = false;
    while (!hasMesh && reader.Read(sample)) {
        hasMesh = sample.track == *video && meshes.Decode(sample.number).error.empty();
    }
    if (!hasMesh) {
        throw Authoring::InputError(path + ": no frame has a mesh, so there is nothing to show");
    }
    bool hasSound = false;
    for (const Authoring::ClipTrack& track : reader.Tracks()) {
        hasSound = hasSound || track.kind == Authoring::ClipTrack::Kind::Audio;
    }
    return hasSound;
}

/// The media type's second half, by what the file begins with.
std::string PictureKind(const std::string& path, const std::string& bytes) {
    if (bytes.compare(0, 4, "\x89PNG") == 0) {
        return "png";
    }
    if (bytes.compare(0, 3, "\xff\xd8\xff") == 0) {
        return "jpeg";
    }
    if (bytes.compare(0, 4, "RIFF") == 0 && bytes.size() > 12 && bytes.compare(8, 4, "WEBP") == 0) {
        return "webp";
    }
    throw Authoring::InputError(path + ": is neither PNG nor JPEG nor WebP, which are the pictures that pages show");
}

/// Pictures of the clip by their names in the folder: the player's, and that of link previews if it is another.
std::vector<MadeFile> MakePosters(const Arguments& arguments) {
    if (!arguments.poster.empty()) {
        std::string bytes = AsString(Authoring::ReadFileBytes(arguments.poster, "the poster"));
        const std::string kind = PictureKind(arguments.poster, bytes);
        return {{"poster." + kind, std::move(bytes)}};
    }
    try {
        const WebPoster poster = DrawWebPoster(arguments.clip, arguments.orbit, arguments.page.background);
        return {{"poster.png", AsString(Authoring::EncodePng(poster.page))},
                {"preview.png", AsString(Authoring::EncodePng(poster.preview))}};
    } catch (const OutputError& error) {
        throw OutputError(std::string(error.what()) + "\n  --poster FILE takes a picture that is there already.");
    }
}

void WriteFolder(const Arguments& arguments) {
    const std::string player = FindWebPlayer({c_WebPlayer, c_WebWorker, c_WebModule});
    WebPage page = arguments.page;
    page.clip = SafeClipName(arguments.clip);
    const std::vector<std::pair<std::string, std::string>> copied = {
        {page.clip, arguments.clip},
        {c_WebPlayer, (fs::path(player) / c_WebPlayer).string()},
        {c_WebWorker, (fs::path(player) / c_WebWorker).string()},
        {c_WebModule, (fs::path(player) / c_WebModule).string()}};
    const auto in = [&](const std::string& name) { return (fs::path(arguments.folder) / name).string(); };
    const std::vector<std::string> inputs = {arguments.clip, arguments.poster};

    std::vector<MadeFile> made = MakePosters(arguments);
    page.poster = made.front().name;
    page.preview = made.back().name;
    made.push_back({"page.css", PageCss(page)});
    made.push_back({"page.js", PageJs()});
    made.push_back({"index.html", IndexHtml(page)});

    PageFolder folder(arguments.folder);
    for (const auto& [name, from] : copied) {
        CheckReplaceable(in(name), arguments.overwrite, {arguments.clip, arguments.poster, from});
    }
    for (const MadeFile& file : made) {
        CheckReplaceable(in(file.name), arguments.overwrite, inputs);
    }
    std::deque<PageFile> files;
    std::uint64_t size = 0;
    for (const auto& [name, from] : copied) {
        PageFile& file = files.emplace_back(in(name), arguments.overwrite);
        ReadInPieces(from, c_PieceBytes, [&](std::string_view piece) { file.Write(piece); });
    }
    for (const MadeFile& file : made) {
        files.emplace_back(in(file.name), arguments.overwrite).Write(file.bytes);
    }
    for (PageFile& file : files) {
        file.Close();
        size += file.Size();
    }
    for (PageFile& file : files) {
        file.Commit();  // the page last: what it names is there
    }
    folder.Keep();
    std::printf("%s: %zu files, %.1f MB, for a web server; `npx serve %s` is one\n", arguments.folder.c_str(),
                files.size(), static_cast<double>(size) / 1e6, arguments.folder.c_str());
}

void WriteSingle(const Arguments& arguments) {
    const std::string player = FindWebPlayer({c_WebInlinePlayer});
    CheckOutput(arguments.single, OutputKind::Page, arguments.overwrite, {arguments.clip, arguments.poster});
    const MadeFile poster = MakePosters(arguments).front();
    WebPage page = arguments.page;
    page.poster = "data:image/" + poster.name.substr(poster.name.rfind('.') + 1) + ";base64," + Base64(poster.bytes);
    const std::string script =
        AsString(Authoring::ReadFileBytes((fs::path(player) / c_WebInlinePlayer).string(), "the web player"));
    const SinglePage text = SingleHtml(page, script);

    PageFile file(arguments.single, arguments.overwrite);
    file.Write(text.before);
    ReadInPieces(arguments.clip, c_PieceBytes, [&](std::string_view piece) {
        file.Write(c_DataBegin);
        file.Write(Base64(piece));
        file.Write(c_DataEnd);
    });
    file.Write(text.after);
    file.Close();
    file.Commit();
    std::printf("%s: %.1f MB, opens in a browser by double click\n", arguments.single.c_str(),
                static_cast<double>(file.Size()) / 1e6);
}

void CheckSingleSize(const Arguments& arguments) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(arguments.clip, error);
    if (!error && size > c_MostInOnePage) {
        char text[200];
        std::snprintf(text, sizeof text,
                      ": has %.0f MB, and one page holds 500 at most, since browsers keep all of a page's text in "
                      "memory; -o FOLDER writes a page that loads the clip as it plays",
                      static_cast<double>(size) / 1e6);
        throw UsageError(arguments.clip + text);
    }
}

/// The address of the folder: what the page is called in it is left out.
std::string FolderUrl(const std::string& url) {
    const bool isAbsolute = url.rfind("https://", 0) == 0 || url.rfind("http://", 0) == 0;
    const std::size_t host = url.find("://") + 3;
    if (!isAbsolute || host >= url.size() || url[host] == '/' || url.find_first_of("?# ") != std::string::npos) {
        throw UsageError("--url: '" + url + "' is not an address such as https://example.org/dancer/");
    }
    const std::size_t slash = url.find('/', host);
    if (slash == std::string::npos) {
        return url + "/";
    }
    const std::size_t name = url.rfind('/') + 1;
    const bool namesPage = url.find('.', name) != std::string::npos;
    return namesPage ? url.substr(0, name) : name == url.size() ? url : url + "/";
}

/// What the options mean together.
Arguments Resolve(const Arguments& given) {
    Arguments arguments = given;
    if (arguments.folder.empty() == arguments.single.empty()) {
        throw UsageError("one of two is needed: -o FOLDER for a web server, or --single FILE.html");
    }
    const std::string ending = fs::path(arguments.folder).extension().string();
    if (ending == ".html" || ending == ".htm") {
        throw UsageError("-o: " + arguments.folder + " names a page, not a folder; --single writes one file");
    }
    WebPage& page = arguments.page;
    if (!arguments.background.empty()) {
        page.background = ReadColour(arguments.background);
        if (!page.background) {
            throw UsageError("--background: '" + arguments.background + "' is not a colour such as #20242a");
        }
    }
    if (!page.url.empty()) {
        page.url = FolderUrl(page.url);
    }
    if (!page.cameraOrbit.empty()) {
        arguments.orbit = ParseCameraOrbit(page.cameraOrbit);
    }
    if (page.title.empty()) {
        page.title = fs::path(arguments.clip).stem().string();
    }
    return arguments;
}

int Run(const Arguments& given) {
    Arguments arguments = Resolve(given);
    const InterruptGuard interrupt;
    if (!arguments.single.empty()) {
        CheckSingleSize(arguments);
    }
    const bool hasSound = CheckClip(arguments.clip);
    // Browsers start nothing by themselves that can be heard.
    arguments.page.muted = arguments.page.autoplay && hasSound;
    if (arguments.single.empty()) {
        WriteFolder(arguments);
    } else {
        WriteSingle(arguments);
    }
    FlushRemarks();
    return c_ExitOk;
}

}  // namespace

Command AddWeb(CLI::App& app) {
    CLI::App* const sub = app.add_subcommand("web", "make a page that shows a clip in a browser");
    const auto arguments = std::make_shared<Arguments>();
    Arguments& a = *arguments;
    sub->add_option("clip", a.clip, "the clip, an .mp4 file")->required();
    CLI::Option* const folder =
        sub->add_option("-o,--output", a.folder, "folder for the page; created if needed")->type_name("FOLDER");
    CLI::Option* const single =
        sub->add_option("--single", a.single, "write one file with everything inside, for clips up to 500 MB")
            ->type_name("FILE.html")
            ->excludes(folder);
    sub->add_option("--title", a.page.title, "heading of the page [the clip's name]")->type_name("TEXT");
    sub->add_option("--description", a.page.description, "a sentence for link previews and search engines")
        ->type_name("TEXT");
    sub->add_option("--url", a.page.url, "where the folder will be: link previews find their picture by it")
        ->type_name("URL")
        ->excludes(single);
    sub->add_option("--poster", a.poster, "picture until the clip has loaded: PNG, JPEG or WebP [its first frame]")
        ->type_name("FILE");
    sub->add_option("--background", a.background, "colour such as #20242a [light or dark, as the reader's system is]")
        ->type_name("COLOUR");
    sub->add_option("--camera-orbit", a.page.cameraOrbit,
                    "where the camera begins: degrees to the right and down from above, and perhaps a distance, as in "
                    "'30deg 75deg', '30deg 75deg 80%' or '30deg 75deg 2m' [the front]")
        ->type_name("ORBIT");
    sub->add_flag("--autoplay", a.page.autoplay, "begin without a click; muted, as browsers demand");
    sub->add_flag("--loop,!--no-loop", a.page.loop, "begin again at the end [it does]");
    AddOverwrite(*sub, a.overwrite);
    sub->footer(c_Examples);
    return {sub, [arguments] { return Run(*arguments); }};
}

}  // namespace Nimb::Tool
