#pragma once

#include <cstdint>
#include <string>

namespace corvane {

// The system console: where banners and the few direct prints go.
class OTConsole {
public:
    virtual ~OTConsole() = default;
    virtual void print(const std::string& text) = 0;
    // A logger message of `level`; a plain console shows it as any other text.
    virtual void printAt(std::int64_t level, const std::string& text) {
        (void)level;
        print(text);
    }
};

}  // namespace corvane
