// A scripted platform under the plug-in: extractor, formats, codecs, sound and log in memory.
//
// It keeps to the contract of Platform/Interface and does on demand what devices do rarely: it fails, refuses,
// stalls, comes late, comes out of order. Decoding is simple: a video sample shows the picture whose number stands in
// its bytes (MakeVideoSample), and an audio sample is its own PCM. All functions here may be called from any thread.
#pragma once

#include <ml_logging.h>
#include <ml_types.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace Fake {

using Bytes = std::vector<std::uint8_t>;

struct Track {
    std::string mime;  ///< empty: the format has no such key
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::optional<std::int64_t> durationUs;
};

struct Sample {
    std::size_t track;
    std::int64_t timeUs;
    Bytes bytes;
};

struct Clip {
    std::vector<Track> tracks;
    std::vector<Sample> samples;  ///< in file order
};

/// A video sample with this picture; `meshUnit` follows it. One that is not a key picture is decoded right only after
/// the picture before it: otherwise it shows c_BrokenPicture.
Bytes MakeVideoSample(std::uint32_t picture, const Bytes& meshUnit, bool isKey = true);
constexpr std::uint32_t c_BrokenPicture = 999999;

/// Forgets clips, script, log, counts and whatever handles are alive.
void Reset();

void AddClip(const std::string& uri, Clip clip);

// ---- Script: a call is a function's name, or, for one kind of codec, the name and " video" or " audio". ----

/// The call returns `result` from the `skip`th on, `times` times, and does nothing.
void Fail(const std::string& call, MLResult result, int skip = 0, int times = INT_MAX);

/// A dequeue succeeds with `status` in place of an index.
void Refuse(const std::string& call, std::int64_t status, int times);

/// Runs `hook` when the call is made next, once, on the calling thread and before the call does anything.
void At(const std::string& call, std::function<void()> hook);

/// The same when a line with `part` in it is logged next.
void AtLine(const std::string& part, std::function<void()> hook);

/// What has no call of its own. Everything is off after Reset.
struct Script {
    std::atomic<bool> holdVideoInput{false};   ///< no input buffer becomes free
    std::atomic<bool> holdVideoOutput{false};  ///< the codec decodes nothing
    std::atomic<bool> holdAudioInput{false};
    std::atomic<bool> holdAudioOutput{false};
    std::atomic<bool> holdSound{false};              ///< the device takes nothing: both buffers fill up, then refusals
    std::atomic<bool> countRendered{false};          ///< frame numbers count pictures that reach the surface
    std::atomic<bool> dropFramesOnFlush{false};      ///< a flush also forgets rendered frames that nobody acquired
    std::atomic<bool> nullExtractor{false};          ///< extractors are created as handle 0
    std::atomic<int> callbackDelayUs{0};             ///< from release to on_frame_available
    std::atomic<std::size_t> audioChunk{0};          ///< bytes of a decoded audio buffer; 0: as the sample
    std::atomic<std::uint32_t> soundBufferBytes{0};  ///< instead of the size asked for; 0: that
    std::atomic<int> soundRefusals{0};               ///< before each buffer of the output stream
    std::atomic<std::uint32_t> undecodable{0};       ///< pictures below this number are taken in and do not come out
    std::atomic<bool> repeatFrameNumber{false};      ///< GetFrameNumber goes on saying what it said last
};
Script& TheScript();

/// While this is locked, no picture reaches a surface.
std::mutex& PictureGate();

/// From now on calls are late, and refused where that leaves nothing behind, at random.
void SetChaos(std::uint32_t seed, int failuresPerThousand, int delaysPerThousand, int maxDelayUs);

// ---- What was seen ----

struct LogLine {
    MLLogLevel level;
    std::string text;
    friend bool operator==(const LogLine& a, const LogLine& b) { return a.level == b.level && a.text == b.text; }
};
std::vector<LogLine> Log();
void ClearLog();
void SetLogLevel(int mostVerbose);  ///< MLLogLevel_Info after Reset
void KeepLog(bool keep);            ///< false: lines are formatted and dropped
int LinesOfOtherTags();             ///< logged under another tag than the plug-in's

enum class Kind { Extractor, Format, Codec, NativeBuffer, Sound };
int Live(Kind kind);
int LiveHandles();
int Calls(const std::string& call);
int CodecsDestroyedUnderAFrame();  ///< while a frame of theirs was acquired and not released

Bytes PlayedSound();  ///< all bytes that sounds were handed, in order
void ForgetPlayedSound();
float Volume();
float Pitch();

// ---- For the other parts of the fake ----

enum class Media { None, Video, Audio };

/// While one lives, its thread is inside the platform, and what happens there is not the player's doing.
class Inside {
public:
    Inside() { ++s_Depth; }
    ~Inside() { --s_Depth; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

    static bool Any() { return s_Depth > 0; }

private:
    static thread_local int s_Depth;
};

/// Counts a call and lets the script have its way with it. A value: return that.
std::optional<MLResult> Enter(const char* function, Media media = Media::None);

/// A status to return in the index of a dequeue.
std::optional<std::int64_t> TakeRefusal(const char* function, Media media);

void CountCodecDestroyedUnderAFrame();

/// The picture in a native buffer that is acquired, or nothing.
std::optional<std::uint32_t> PictureOf(MLHandle nativeBuffer);

}  // namespace Fake
