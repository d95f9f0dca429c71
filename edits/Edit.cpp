#include "edits/Edit.h"

#include "support/KWLog.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace reelwright {

Result<void> Edit::apply(QTMovie& movie, std::vector<std::string>* remarks, RefusedParts* refused,
    std::vector<Extraction>* extracted) const
{
    if (extract) {
        RW_TRY(auto taken, extract(movie));
        if (extracted)
            extracted->push_back(std::move(taken));
        return {};
    }
    auto copy = movie;
    if (performAndTell && remarks) {
        RW_TRY(auto remark, performAndTell(copy));
        if (!remark.empty())
            remarks->push_back(std::move(remark));
    } else if (performWithNotes) {
        RW_TRY(const auto notes, performWithNotes(copy));
        if (remarks)
            remarks->insert(remarks->end(), notes.remarks.begin(), notes.remarks.end());
        if (refused)
            refused->insert(refused->end(), notes.refused.begin(), notes.refused.end());
    } else if (performInParts) {
        RW_TRY(const auto parts, performInParts(copy));
        if (refused)
            refused->insert(refused->end(), parts.begin(), parts.end());
    } else {
        RW_CHECK(call.perform(copy));
    }
    movie = std::move(copy);
    return {};
}

Edit makeEdit(std::string option, std::string undoName, std::string queueLabel,
    std::function<Result<void>(QTMovie&)> perform)
{
    auto name = option;
    return {
        std::move(option), std::move(undoName), std::move(queueLabel), {std::move(name), std::move(perform)}};
}

Edit makeEditInParts(std::string option, std::string undoName, std::string queueLabel,
    std::function<Result<RefusedParts>(QTMovie&)> perform)
{
    auto edit = makeEdit(std::move(option), std::move(undoName), std::move(queueLabel),
        [perform](QTMovie& movie) -> Result<void> {
            RW_TRY(const auto refused, perform(movie));
            for (const auto& part : refused)
                KWLog::appendLog("left out: {}", part);
            return {};
        });
    edit.performInParts = std::move(perform);
    return edit;
}

Result<RefusedParts> unlessAllRefused(RefusedParts refused, std::size_t parts)
{
    if (refused.empty() || refused.size() < parts)
        return refused;
    return failure(MovieError::Code::Refused, {}, fmt::format("{}", fmt::join(refused, "; ")));
}

Edit makeEditWithNotes(std::string option, std::string undoName, std::string queueLabel,
    std::function<Result<EditNotes>(QTMovie&)> perform)
{
    auto edit = makeEdit(std::move(option), std::move(undoName), std::move(queueLabel),
        [perform](QTMovie& movie) -> Result<void> {
            RW_CHECK(perform(movie));
            return {};
        });
    edit.performWithNotes = std::move(perform);
    return edit;
}

} // namespace reelwright
