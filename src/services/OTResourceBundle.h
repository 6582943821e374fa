#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace corvane {

class OTImage;

// The "CorvaneOstrel" resource bundle: the library's own pictures (close buttons, web page bar
// buttons, tag and submit icons) at @2x and @3x, read by file path. Looked up, in order, at
// $OT_RESOURCE_BUNDLE, beside the running program ("CorvaneOstrel.bundle"), in
// "../share/corvane-ostrel/" from it (an installed library), and in the source tree it was built from.
class OTResourceBundle {
public:
    static constexpr const char* kBundleName = "CorvaneOstrel.bundle";

    static std::optional<std::filesystem::path> path();
    // "<name>@<scale>x.png" with the screen scale truncated to an integer.
    static std::string fileNameFor(const std::string& name);
    // The picture of that file name in the bundle, nothing when it is missing or not a picture.
    static std::shared_ptr<OTImage> imageWithFileName(const std::string& fileName);
};

// A picture of the bundle at the screen's scale.
std::shared_ptr<OTImage> OTImageNamed(const std::string& name);

}  // namespace corvane
