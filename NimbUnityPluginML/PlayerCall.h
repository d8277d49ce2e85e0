// What exported functions have around their one call: the player is looked up, and nothing is thrown into the engine.
#pragma once

#include "Nimb/NimbAssert.h"
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/PlayerRegistry.h"

#include <exception>
#include <utility>

namespace Nimb::Plugin {

/// Returns what `call` returns, or `failure` when it throws: out of memory, or of threads. The log then says what.
template <class Result, class Call>
Result Guarded(const char* function, Result failure, Call&& call) noexcept {
    try {
        return std::forward<Call>(call)();
    } catch (const std::exception& error) {
        NIMB_LOG_ERROR("%s: %s", function, error.what());
    } catch (const Nimb::AssertionFailure&) {
        // The assertion has said what it is about.
    }
    return failure;
}

/// Returns what `call` returns for the player, or `failure` when there is none with the id or the call throws.
template <class Result, class Call>
Result CallSilently(int id, const char* function, Result failure, Call&& call) noexcept {
    return Guarded(function, failure, [&]() -> Result {
        const PlayerRegistry::Pin player = PlayerRegistry::Instance().Find(id);
        return player ? call(*player) : failure;
    });
}

/// The same, with a line in the log when there is no player.
template <class Result, class Call>
Result CallPlayer(int id, const char* function, Result failure, Call&& call) noexcept {
    return Guarded(function, failure, [&]() -> Result {
        const PlayerRegistry::Pin player = PlayerRegistry::Instance().Find(id);
        if (!player) {
            NIMB_LOG_ERROR("%s: player object with id = %i not found", function, id);
            return failure;
        }
        return call(*player);
    });
}

}  // namespace Nimb::Plugin
