#pragma once

#include <string>

// The system console: where banners and the few direct prints go.
class OTConsole {
public:
    virtual ~OTConsole() = default;
    virtual void print(const std::string& text) = 0;
};
