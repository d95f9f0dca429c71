#include "edits/ConformEdits.h"

#include "conform/HeaderSidecar.h"

#include <fmt/format.h>

namespace reelwright::edits {
namespace {

    Result<void> parseConform(std::string_view value, EditSteps& steps)
    {
        const auto rate = typedRate(value);
        if (!rate)
            return wrongValue("--conform", value, "a frame rate such as 25 or 23.976");
        if (*rate < 1.0)
            return failure(MovieError::Code::Refused, {}, "Frame rate must be at least 1 frame per second.");
        auto& request = steps.conform();
        request.frameRate = *rate;
        request.text = value;
        return {};
    }

    Result<void> parseConformExact(std::string_view value, EditSteps& steps)
    {
        const auto rate = ExactRate::parse(value);
        if (!rate)
            return wrongValue(
                "--conform-exact", value, "a frame rate from 1 to 1000 such as 25, 23.976 or 24000/1001");
        auto& request = steps.conform();
        request.exact = *rate;
        request.text = value;
        return {};
    }

    Result<void> parseStrip(std::string_view, EditSteps& steps)
    {
        steps.conform().stripEditLists = true;
        return {};
    }

    Result<void> parseAcceptDrift(std::string_view, EditSteps& steps)
    {
        steps.conform().acceptDrift = true;
        return {};
    }

    Result<void> parseKeepHeader(std::string_view value, EditSteps& steps)
    {
        if (value.empty())
            return wrongValue("--keep-header", value, "a file or a folder");
        steps.conform().keepHeader = value;
        return {};
    }

    Result<void> parseRestore(std::string_view value, EditSteps& steps)
    {
        if (value.empty())
            return wrongValue("--restore-header", value, "a file that --keep-header has written");
        steps.addAlone(restoreHeader(std::string {value}));
        return {};
    }

    constexpr EditKind kKinds[] = {
        {"--conform", "FPS",
            "After all edits, play at this frame rate: time scales\nare divided and rounded, sound gets "
            "another pitch",
            parseConform},
        {"--strip-edit-lists", "", "With --conform: players skip the edit lists", parseStrip},
        {"--conform-exact", "FPS",
            "The same in time scales in which a frame is a whole\nnumber (24000/1001): the picture never "
            "drifts",
            parseConformExact},
        {"--accept-drift", "",
            "With --conform-exact: let sound be more than a frame off\nthe picture at the end",
            parseAcceptDrift},
        {"--keep-header", "FILE|DIR",
            "With either: keep the header as it was, for\n--restore-header (in a folder: NAME.header)",
            parseKeepHeader},
        {"--restore-header", "FILE", "Put back a header that was kept; goes with no other\nedit",
            parseRestore},
    };

} // namespace

Edit conformExactly(const ExactRate& rate, bool acceptDrift)
{
    const auto text = rate.text();
    return makeEdit(fmt::format("--conform-exact {}{}", text, acceptDrift ? " --accept-drift" : ""),
        "Conform Exactly", fmt::format("Conform movie exactly to {} fps", text),
        [rate, acceptDrift](QTMovie& movie) {
            return ExactConform::apply(movie, {rate, acceptDrift}).map([](const ExactConform::Report&) {});
        });
}

Edit restoreHeader(const std::string& path)
{
    return makeEdit("--restore-header " + path, "Restore the Old Rate", "Restore the header kept in " + path,
        [path](QTMovie& movie) { return HeaderSidecar::restore(path, movie); });
}

std::span<const EditKind> conformKinds()
{
    return kKinds;
}

} // namespace reelwright::edits
