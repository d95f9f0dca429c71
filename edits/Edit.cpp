#include "edits/Edit.h"

namespace reelwright {

Result<void> Edit::apply(QTMovie& movie, std::vector<std::string>* remarks) const
{
    auto copy = movie;
    if (performAndTell && remarks) {
        RW_TRY(auto remark, performAndTell(copy));
        if (!remark.empty())
            remarks->push_back(std::move(remark));
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

} // namespace reelwright
