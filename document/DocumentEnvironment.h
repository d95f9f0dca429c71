#pragma once

#include "document/MovieWriter.h"

#include <functional>
#include <memory>
#include <vector>

namespace reelwright {

class MainThread;
class MyDocument;
class NotificationCenter;
class Preferences;

/// What movie documents work with. All of it outlives them.
struct DocumentEnvironment
{
    MainThread& mainThread;
    NotificationCenter& notifications;
    Preferences& preferences;
    std::shared_ptr<Storage> storage = Storage::posix();
    SaveFiles files = SaveFiles::real();
    /// All that are open: none saves over the file of another.
    std::function<std::vector<MyDocument*>()> documents = [] { return std::vector<MyDocument*> {}; };
};

} // namespace reelwright
