// Script, log, handles and clips of the fake platform.
#include "Tests/NimbUnityPluginML/FakePlatform.h"

#include "Tests/NimbUnityPluginML/FakeHandles.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <random>
#include <thread>

namespace Fake {
namespace {

struct Rule {
    MLResult result;
    int skip;
    int times;
};
struct Refusal {
    std::int64_t status;
    int times;
};

struct State {
    std::mutex mutex;
    std::map<std::string, Rule> rules;
    std::map<std::string, Refusal> refusals;
    std::map<std::string, int> calls;
    std::map<std::string, std::function<void()>> hooks;
    std::map<std::string, std::function<void()>> lineHooks;
    std::atomic<int> codecsDestroyedUnderAFrame{0};

    bool chaos = false;
    std::minstd_rand random;
    int failuresPerThousand = 0;
    int delaysPerThousand = 0;
    int maxDelayUs = 1;

    std::map<std::string, std::shared_ptr<const Clip>> clips;

    std::mutex logMutex;
    std::vector<LogLine> log;
    int otherTags = 0;
    std::atomic<int> logLevel{MLLogLevel_Info};
    std::atomic<bool> keepLog{true};
};

State& TheState() {
    static State state;
    return state;
}

/// What the script calls a call.
std::vector<std::string> Names(const std::string& function, Media media) {
    return media == Media::None ? std::vector{function}
                                : std::vector{function, function + (media == Media::Video ? " video" : " audio")};
}

/// Calls that make things and take them away do not fail at random: the contract gives no such failure for the latter,
/// and tests of the former name the call.
bool MayFailAtRandom(const std::string& function) {
    for (const char* const never : {"Destroy", "ReleaseFrame", "SeekTo", "Flush", "Stop", "QueueInputBuffer", "Advance",
                                    "GetSample", "ReadSample", "ReleaseOutput"}) {
        if (function.find(never) != std::string::npos) {
            return false;
        }
    }
    return true;
}

/// The hook of the first entry that `matches`, which is gone then; none does nothing.
template <class Matches>
std::function<void()> TakeHook(std::map<std::string, std::function<void()>>& hooks, Matches&& matches) {
    for (auto it = hooks.begin(); it != hooks.end(); ++it) {
        if (matches(it->first)) {
            std::function<void()> hook = std::move(it->second);
            hooks.erase(it);
            return hook;
        }
    }
    return [] {};
}

std::optional<MLResult> ApplyRule(State& state, const std::string& call) {
    const auto it = state.rules.find(call);
    if (it == state.rules.end() || it->second.skip-- > 0 || it->second.times-- <= 0) {
        return std::nullopt;
    }
    return it->second.result;
}

}  // namespace

thread_local int Inside::s_Depth = 0;

Bytes MakeVideoSample(std::uint32_t picture, const Bytes& meshUnit, bool isKey) {
    Bytes sample{0, 0, 0, 1, static_cast<std::uint8_t>(isKey ? 0x65 : 0x41)};
    for (int shift = 28; shift >= 0; shift -= 4) {
        sample.push_back(static_cast<std::uint8_t>(0x10 + ((picture >> shift) & 15)));  // never looks like a start code
    }
    sample.insert(sample.end(), meshUnit.begin(), meshUnit.end());
    return sample;
}

Script& TheScript() {
    static Script script;
    return script;
}

void Reset() {
    HandleTable::Instance().Clear();
    State& state = TheState();
    {
        const std::lock_guard<std::mutex> lock(state.mutex);
        state.rules.clear();
        state.refusals.clear();
        state.calls.clear();
        state.clips.clear();
        state.hooks.clear();
        state.lineHooks.clear();
        state.codecsDestroyedUnderAFrame = 0;
        state.chaos = false;
    }
    Script& script = TheScript();
    for (std::atomic<bool>* const flag :
         {&script.holdVideoInput, &script.holdVideoOutput, &script.holdAudioInput, &script.holdAudioOutput,
          &script.holdSound, &script.countRendered, &script.dropFramesOnFlush, &script.nullExtractor,
          &script.repeatFrameNumber}) {
        *flag = false;
    }
    script.callbackDelayUs = 0;
    script.audioChunk = 0;
    script.soundBufferBytes = 0;
    script.soundRefusals = 0;
    script.undecodable = 0;
    ForgetPlayedSound();
    ClearLog();
    SetLogLevel(MLLogLevel_Info);
    KeepLog(true);
}

void AddClip(const std::string& uri, Clip clip) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().clips[uri] = std::make_shared<const Clip>(std::move(clip));
}

std::shared_ptr<const Clip> FindClip(const std::string& uri) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    const auto it = TheState().clips.find(uri);
    return it == TheState().clips.end() ? nullptr : it->second;
}

void Fail(const std::string& call, MLResult result, int skip, int times) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().rules[call] = {result, skip, times};
}

void Refuse(const std::string& call, std::int64_t status, int times) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().refusals[call] = {status, times};
}

void At(const std::string& call, std::function<void()> hook) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().hooks[call] = std::move(hook);
}

void AtLine(const std::string& part, std::function<void()> hook) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().lineHooks[part] = std::move(hook);
}

std::mutex& PictureGate() {
    static std::mutex gate;
    return gate;
}

void SetChaos(std::uint32_t seed, int failuresPerThousand, int delaysPerThousand, int maxDelayUs) {
    State& state = TheState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.chaos = true;
    state.random.seed(seed);
    state.failuresPerThousand = failuresPerThousand;
    state.delaysPerThousand = delaysPerThousand;
    state.maxDelayUs = maxDelayUs;
}

std::optional<MLResult> Enter(const char* function, Media media) {
    State& state = TheState();
    std::optional<MLResult> result;
    std::function<void()> hook;
    std::chrono::microseconds delay{0};
    {
        const std::lock_guard<std::mutex> lock(state.mutex);
        const std::vector<std::string> names = Names(function, media);
        hook = TakeHook(state.hooks, [&names](const std::string& call) {
            return std::find(names.begin(), names.end(), call) != names.end();
        });
        for (const std::string& name : names) {
            ++state.calls[name];
            if (!result) {
                result = ApplyRule(state, name);
            }
        }
        if (state.chaos) {
            const auto roll = [&state] { return static_cast<int>(state.random() % 1000); };
            if (!result && roll() < state.failuresPerThousand && MayFailAtRandom(function)) {
                result = MLResult_UnspecifiedFailure;
            }
            if (roll() < state.delaysPerThousand) {
                delay = std::chrono::microseconds(state.random() % static_cast<unsigned>(state.maxDelayUs));
            }
        }
    }
    hook();
    if (delay.count() > 0) {
        std::this_thread::sleep_for(delay);  // being late is what was asked for
    }
    return result;
}

std::optional<std::int64_t> TakeRefusal(const char* function, Media media) {
    State& state = TheState();
    const std::lock_guard<std::mutex> lock(state.mutex);
    for (const std::string& name : Names(function, media)) {
        const auto it = state.refusals.find(name);
        if (it != state.refusals.end() && it->second.times > 0) {
            --it->second.times;
            return it->second.status;
        }
    }
    return std::nullopt;
}

int Calls(const std::string& call) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return TheState().calls[call];
}

int CodecsDestroyedUnderAFrame() {
    return TheState().codecsDestroyedUnderAFrame;
}

void CountCodecDestroyedUnderAFrame() {
    ++TheState().codecsDestroyedUnderAFrame;
}

std::vector<LogLine> Log() {
    const std::lock_guard<std::mutex> lock(TheState().logMutex);
    return TheState().log;
}

void ClearLog() {
    const std::lock_guard<std::mutex> lock(TheState().logMutex);
    TheState().log.clear();
    TheState().otherTags = 0;
}

void SetLogLevel(int mostVerbose) {
    TheState().logLevel = mostVerbose;
}

void KeepLog(bool keep) {
    TheState().keepLog = keep;
}

int LinesOfOtherTags() {
    const std::lock_guard<std::mutex> lock(TheState().logMutex);
    return TheState().otherTags;
}

HandleTable& HandleTable::Instance() {
    static HandleTable table;
    return table;
}

MLHandle HandleTable::Add(std::shared_ptr<Object> object, bool asNull) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    const MLHandle handle = asNull ? 0 : m_Next++;
    m_Objects[handle] = std::move(object);
    return handle;
}

void HandleTable::Clear() {
    std::map<MLHandle, std::shared_ptr<Object>> objects;
    const std::lock_guard<std::mutex> lock(m_Mutex);
    objects.swap(m_Objects);
}

int HandleTable::Count(std::optional<Kind> kind) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    int count = 0;
    for (const auto& entry : m_Objects) {
        count += !kind || entry.second->m_Kind == *kind ? 1 : 0;
    }
    return count;
}

int Live(Kind kind) {
    return HandleTable::Instance().Count(kind);
}

int LiveHandles() {
    return HandleTable::Instance().Count(std::nullopt);
}

}  // namespace Fake

bool MLLoggingLogLevelIsEnabled(MLLogLevel level) {
    return static_cast<int>(level) <= Fake::TheState().logLevel;
}

void MLLoggingLogVargs(MLLogLevel level, const char* tag, const char* fmt, ...) {
    const Fake::Inside inside;
    char text[2048];
    va_list arguments;
    va_start(arguments, fmt);
    std::vsnprintf(text, sizeof(text), fmt, arguments);
    va_end(arguments);
    Fake::State& state = Fake::TheState();
    {
        const std::lock_guard<std::mutex> lock(state.logMutex);
        state.otherTags += std::strcmp(tag, "NimbUnityPlugin") == 0 ? 0 : 1;
        if (state.keepLog) {
            state.log.push_back({level, text});
        }
    }
    std::function<void()> hook;
    {
        const std::lock_guard<std::mutex> lock(state.mutex);
        hook = Fake::TakeHook(state.lineHooks,
                              [&text](const std::string& part) { return std::strstr(text, part.c_str()) != nullptr; });
    }
    hook();
}
