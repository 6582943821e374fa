#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "foundation/OTGeometry.h"

namespace corvane {

// Turns the HTML pages of a run into PNG pictures with headless Chromium, when it is installed.
class OTSimulatorScreenshots {
public:
    struct Result {
        std::vector<std::filesystem::path> written;  // in the pages' name order
        std::vector<std::string> problems;           // why a picture, or all of them, is missing
    };

    OTSimulatorScreenshots() = delete;

    // The browser: $OT_CHROMIUM when set, else chromium or chromium-browser found on the PATH.
    static std::optional<std::filesystem::path> findBrowser();
    // Whether fontconfig ($OT_FC_LIST, else fc-list) knows a font for Chinese; nothing when it
    // cannot be asked.
    static std::optional<bool> chineseFontInstalled();
    // One picture of the screen's size per page of `pages`, named after it, into `pictures`.
    static Result render(const std::filesystem::path& pages, const std::filesystem::path& pictures,
                         const OTSize& screen);
};

}  // namespace corvane
