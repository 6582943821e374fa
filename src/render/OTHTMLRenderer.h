#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "foundation/OTGeometry.h"
#include "view/OTSceneNode.h"

namespace corvane {

// Draws a tree as a static HTML page: a screen of the given size with each visible node an
// absolutely placed box (data-name and data-role name it) in its colours, corner radius, shadow,
// font and text; pictures from their addresses, the library's own pictures inlined. Only http and
// https addresses are written into a page, and every text is escaped.
class OTHTMLRenderer {
public:
    // What a page uses in place of a network address (a picture, video or web page): a copy kept
    // beside the page, say; nothing keeps the address.
    using AssetSource = std::function<std::optional<std::string>(const std::string& url)>;

    OTHTMLRenderer() = delete;

    static std::string render(const std::shared_ptr<OTSceneNode>& root, const OTSize& screen,
                              const std::string& title = "CorvaneOstrel", const AssetSource& assets = nullptr);
    static std::string escape(const std::string& text);
    // The page's language, from its texts and spoken labels: "zh-Hans" when any is Chinese, else "en".
    static std::string language(const std::shared_ptr<OTSceneNode>& root);
    // A number for CSS: up to three decimals, no trailing zeros.
    static std::string px(double value);
};

}  // namespace corvane
