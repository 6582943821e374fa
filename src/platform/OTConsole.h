#pragma once

#include <string>

namespace corvane {

// The system console: where banners and the few direct prints go.
class OTConsole {
public:
    virtual ~OTConsole() = default;
    virtual void print(const std::string& text) = 0;
};

}  // namespace corvane
