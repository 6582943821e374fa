#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/OTPropertyList.h"

namespace corvane {

// Reads "bplist00" binary property lists with every offset, length and reference checked, a
// depth limit, cycle detection, a node budget and a byte budget: every object read costs its bytes
// in the file, each time it is referenced, and all of them together may cost no more than the file
// holds. Hostile bytes (a reference repeated a million times included) give nothing, never a
// crash, a hang or memory out of proportion to the file.
//
// Besides reading a whole value, a reader opened over a file reads it object by object: the
// containers a caller walks give their references, and only the values it asks for are read, all
// against the same budgets.
class OTBinaryPlistReader {
public:
    using Ref = std::uint64_t;
    // A dictionary's keys, each with the reference of its value, in the file's order.
    using Entries = std::vector<std::pair<std::string, Ref>>;

    static std::optional<OTPropertyList> read(std::string_view bytes);

    // A reader over `bytes`, which must outlive it; nothing when they are not a binary property
    // list within the size limit.
    static std::optional<OTBinaryPlistReader> open(std::string_view bytes);
    Ref top() const { return topObject_; }
    // The whole value of an object `depth` levels below the top.
    std::optional<OTPropertyList> value(Ref ref, std::size_t depth);
    // A list's element references; nothing when the object is not a list or breaks a bound.
    std::optional<std::vector<Ref>> arrayAt(Ref ref, std::size_t depth);
    // A dictionary's entries; nothing when the object is not a dictionary, a key is not a text, or
    // a bound is broken.
    std::optional<Entries> dictionaryAt(Ref ref, std::size_t depth);

private:
    explicit OTBinaryPlistReader(std::string_view bytes) : bytes_(bytes) {}

    bool readTrailer();
    std::optional<OTPropertyList> object(std::uint64_t ref, std::size_t depth);
    // A container's element count and where its references start, its own bytes charged; nothing
    // when `ref` is no container of `type` (0xA or 0xD).
    std::optional<std::pair<std::uint64_t, std::size_t>> container(Ref ref, std::uint8_t type, std::size_t depth);
    // A whole list or dictionary; nothing for one that holds itself.
    std::optional<OTPropertyList> containerValue(Ref ref, std::uint8_t type, std::size_t depth);
    // Takes `bytes` from the byte budget; false when it is spent.
    bool charge(std::uint64_t bytes);
    std::optional<std::uint64_t> unsignedAt(std::size_t at, std::size_t width) const;
    std::optional<std::uint64_t> objectOffset(std::uint64_t ref) const;
    // The count of a container or string: the marker's low nibble, or a following integer.
    std::optional<std::uint64_t> countAfter(std::uint8_t info, std::size_t& at) const;
    std::optional<std::uint64_t> refAt(std::size_t at) const { return unsignedAt(at, refSize_); }

    std::string_view bytes_;
    std::size_t offsetSize_ = 0;
    std::size_t refSize_ = 0;
    std::uint64_t objectCount_ = 0;
    std::uint64_t topObject_ = 0;
    std::uint64_t offsetTable_ = 0;
    std::size_t budget_ = OTPropertyList::kMaxNodes;
    std::size_t byteBudget_ = 0;
    std::vector<bool> onPath_;
};

}  // namespace corvane
