#include "platform/linux/OTStandardErrorConsole.h"

#include <cstdio>

namespace corvane {

void OTStandardErrorConsole::print(const std::string& text) {
    std::lock_guard lock(mutex_);
    std::fwrite(text.data(), 1, text.size(), stderr);
    if (text.empty() || text.back() != '\n') std::fputc('\n', stderr);
    std::fflush(stderr);
}

}  // namespace corvane
