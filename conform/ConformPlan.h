#pragma once

#include "conform/ConformRates.h"
#include "conform/KWQuickTimeParser.h"
#include "movie/atoms/Atom.h"

#include <string>
#include <vector>

namespace reelwright {

/// One field of a file's header that a conform gives another value. Big-endian, two or four bytes.
struct ConformPatch
{
    std::uint64_t position = 0; ///< file offset of the field
    unsigned width = 4;
    std::uint32_t before = 0;
    std::uint32_t after = 0;
    std::string atom; ///< type of the atom, as the walk met it
    std::uint64_t atomPosition = 0;
    std::string field; ///< "time scale"
    std::string why; ///< "59 940 ÷ 1.1988"
};

/// What a frame-rate conform writes: found by the walk alone, from nothing but the file's bytes, and computed
/// before anything is written. Fields that keep their value are left out.
struct ConformPlan
{
    ConformRates rates;
    KWQuickTimeParser::Walk walk;
    std::vector<ConformPatch> patches; ///< in the order in which the fields are met; none touches another
    std::vector<std::string> warnings; ///< of fields that cannot say what they ought to

    struct Request
    {
        double fromFrameRate = 0;
        double toFrameRate = 0;
        bool stripEditLists = false; ///< "edts" becomes "skip"
        KWQuickTimeParser::Notes notes = KWQuickTimeParser::Notes::Log;
    };
    /// The number of bytes that the patches write.
    [[nodiscard]] std::uint64_t byteCount() const;

    /// Errors: Refused without an atom map, for rates that are no rates, and for an atom that has not the
    /// fields: one of version 1, a sound description of version 2, a table that claims more entries than it
    /// holds, a value that 32 bits cannot hold, an atom that the walk met more than once.
    static Result<ConformPlan> make(const RandomReader& bytes, const Request& request);

    /// Did the walk meet every timing atom of the movie's header, and do all patches lie in it? `header` was
    /// read at its place in the same bytes. Errors: Refused, with the place and the way out.
    [[nodiscard]] Result<void> checkAgainst(const Atom& header) const;

    /// Gives the fields of `header` their new values. `layout` is the header as read in the bytes that were
    /// walked; `header` the same tree, where other bytes than the patched ones may differ.
    Result<void> applyTo(Atom& header, const Atom& layout) const;
};

} // namespace reelwright
