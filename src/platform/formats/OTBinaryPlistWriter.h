#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/formats/OTPropertyList.h"

namespace corvane {

// Writes "bplist00" binary property lists: every value kind at full range (64-bit integers,
// dates as seconds since 2001 in a double), ASCII texts as bytes and other texts as UTF-16. Every
// object is written once and referenced once, so the reader's budget (each reference costs the
// bytes of its object) always covers a file written here. What the reader would refuse is not
// written at all.
class OTBinaryPlistWriter {
public:
    static std::optional<std::string> write(const OTPropertyList& root);

private:
    bool countObjects(const OTPropertyList& value, std::size_t depth, std::size_t& count) const;
    std::size_t add(const OTPropertyList& value);
    std::size_t addString(const std::string& text);
    void appendRef(std::string& out, std::size_t ref) const;

    std::size_t refSize_ = 1;
    std::vector<std::string> objects_;
};

}  // namespace corvane
