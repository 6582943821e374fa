#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/formats/OTPropertyList.h"

namespace corvane {

// Reads "bplist00" binary property lists with every offset, length and reference checked, a
// depth limit, cycle detection, a node budget and a byte budget: every object read costs its bytes
// in the file, each time it is referenced, and all of them together may cost no more than the file
// holds. Hostile bytes (a reference repeated a million times included) give nothing, never a
// crash, a hang or memory out of proportion to the file.
class OTBinaryPlistReader {
public:
    static std::optional<OTPropertyList> read(std::string_view bytes);

private:
    explicit OTBinaryPlistReader(std::string_view bytes) : bytes_(bytes) {}

    bool readTrailer();
    std::optional<OTPropertyList> object(std::uint64_t ref, std::size_t depth);
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
