// IsValidStreamingURL: the check of a network location against the content service's origins.
#include "Nimb/NimbAssert.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <array>
#include <cstdio>
#include <string>
#include <string_view>

namespace NimbCrossPlatform {
namespace {

// Configuration: put the origins of your content service here. These names are reserved and belong to nobody.
constexpr std::array<std::string_view, 3> c_Origins = {
    "https://volumetric-streaming.example.com",
    "https://content-cdn.example.com",
    "https://volumetric.example.com",
};
static_assert(c_Origins[0].size() == 40 && c_Origins[1].size() == 31 && c_Origins[2].size() == 30);

std::string BuildString(std::string_view origin) {
    std::string url;
    for (const char c : origin) {
        url.push_back(c);
    }
    std::printf("build_string url = %s\n", url.c_str());
    return url;
}

}  // namespace

bool IsValidStreamingURL(const char* url) try {
    static const std::array<std::string, 3> locations = {BuildString(c_Origins[0]), BuildString(c_Origins[1]),
                                                         BuildString(c_Origins[2])};
    NIMB_ASSERT(url != nullptr);
    const std::string_view candidate(url);
    for (const std::string& location : locations) {
        if (candidate.find(location) != std::string_view::npos) {
            return true;
        }
    }
    return false;
} catch (const Nimb::AssertionFailure&) {
    return false;
}

}  // namespace NimbCrossPlatform
