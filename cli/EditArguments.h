#pragma once

#include "cli/EditOptions.h"
#include "edits/EditCatalogue.h"

#include <map>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace reelwright::cli {

/// The options of a command that edits: the edits of the catalogue, where the result goes, how it is saved.
class EditArguments
{
public:
    void addTo(CLI::App& app);
    /// Call when all options are read. Throws wrong usage.
    EditOptions finish();

private:
    void addOutputs(CLI::App& app);
    void checkOutputs();

    CLI::App* m_app = nullptr;
    std::map<const CLI::Option*, const EditKind*> m_kinds;
    EditOptions m_options;
};

} // namespace reelwright::cli
