#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/OTPropertyList.h"

namespace corvane {

// Writes "bplist00" binary property lists: every value kind at full range (64-bit integers,
// dates as seconds since 2001 in a double), ASCII texts as bytes and other texts as UTF-16. Every
// object is written once and referenced once, so the reader's budget (each reference costs the
// bytes of its object) always covers a file written here. What the reader would refuse is not
// written at all.
//
// Objects are written as they are added, children before the containers that hold them, so an
// archive of many objects is encoded straight into its bytes without a tree of values in between.
// The bytes grow in chunks, never copied as they grow: a large archive costs little more than its
// own size until it is on disk.
class OTBinaryPlistWriter {
public:
    using Ref = std::uint64_t;

    // `refSize` bytes per reference: four when the number of objects is not known beforehand.
    explicit OTBinaryPlistWriter(std::size_t refSize = 4);

    // A whole value, with references as narrow as its size allows: as one text, or in pieces.
    static std::optional<std::string> write(const OTPropertyList& root);
    static std::optional<std::vector<std::string>> encode(const OTPropertyList& root);

    // Each add gives the new object's reference. `depth` is where the object will sit below the
    // top object; past the reader's depth limit, or past its node or size limits, the writer
    // fails and `finish` gives nothing.
    Ref add(const OTPropertyList& value, std::size_t depth);
    Ref addString(std::string_view text);
    Ref addInteger(std::int64_t value);
    Ref addArray(std::span<const Ref> items, std::size_t depth);
    Ref addDictionary(std::span<const Ref> keys, std::span<const Ref> values, std::size_t depth);
    bool failed() const { return failed_; }
    // The file, in pieces to be written one after another, with `top` as its top object; the
    // writer is spent.
    std::optional<std::vector<std::string>> finish(Ref top);
    // The file as one text.
    std::optional<std::string> finishText(Ref top);

private:
    // Small enough that the slack of the last and the first chunk (which grows as a text does)
    // stays a fraction of a large archive.
    static constexpr std::size_t kChunkBytes = std::size_t{256} << 10;

    // Starts a new object in the chunk it returns; nullptr once the writer has failed.
    std::string* begin(std::size_t depth);
    void appendRef(std::string& out, Ref ref) const;

    std::size_t refSize_;
    bool failed_ = false;
    std::vector<std::string> chunks_;
    std::uint64_t sealed_ = 0;  // the bytes of every chunk but the last
    // A file is at most the read limit, so its offsets fit 32 bits.
    std::deque<std::uint32_t> offsets_;
};

}  // namespace corvane
