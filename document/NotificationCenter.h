#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace reelwright {

/// The track table's arrow keys: every document nudges its selected track.
constexpr std::string_view KWTrackIncrementFrame = "KWTrackIncrementFrame";
constexpr std::string_view KWTrackDecrementFrame = "KWTrackDecrementFrame";
/// A save during quitting ended.
constexpr std::string_view KWDocumentFinishedWriting = "KWDocumentFinishedWriting";
/// A save during quitting was given up half way: the application has to stay.
constexpr std::string_view KWDocumentAbandonedWriting = "KWDocumentAbandonedWriting";

/// Tells whoever wants to know, by name. Main thread only.
class NotificationCenter
{
    struct Observer;
    using Observers = std::map<std::uint64_t, std::shared_ptr<Observer>>;

public:
    /// Observes until it goes. May outlive the center.
    class Observation
    {
    public:
        Observation() = default;
        Observation(Observation&&) noexcept = default;
        Observation& operator=(Observation&& other) noexcept;
        ~Observation();

    private:
        friend class NotificationCenter;
        std::weak_ptr<Observers> m_observers;
        std::uint64_t m_key = 0;
    };

    NotificationCenter();
    [[nodiscard]] Observation observe(std::string_view name, std::function<void()> handler);
    /// Calls the handlers in the order in which they began to observe. One that ended meanwhile is not called
    /// any more.
    void post(std::string_view name);

private:
    struct Observer
    {
        std::string name;
        std::function<void()> handler;
    };

    std::shared_ptr<Observers> m_observers;
    std::uint64_t m_nextKey = 1;
};

} // namespace reelwright
