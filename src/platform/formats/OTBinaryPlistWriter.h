#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/formats/OTPropertyList.h"

namespace corvane {

// Writes "bplist00" binary property lists: every value kind at full range (64-bit integers,
// dates as seconds since 2001 in a double), ASCII texts as bytes and other texts as UTF-16.
class OTBinaryPlistWriter {
public:
    static std::string write(const OTPropertyList& root);

private:
    std::size_t countObjects(const OTPropertyList& value) const;
    std::size_t add(const OTPropertyList& value);
    std::size_t addString(const std::string& text);
    void appendRef(std::string& out, std::size_t ref) const;

    std::size_t refSize_ = 1;
    std::vector<std::string> objects_;
};

}  // namespace corvane
