#include "document/NotificationCenter.h"

#include <vector>

namespace reelwright {

NotificationCenter::Observation& NotificationCenter::Observation::operator=(Observation&& other) noexcept
{
    std::swap(m_observers, other.m_observers);
    std::swap(m_key, other.m_key);
    return *this;
}

NotificationCenter::Observation::~Observation()
{
    if (const auto observers = m_observers.lock())
        observers->erase(m_key);
}

NotificationCenter::NotificationCenter()
    : m_observers(std::make_shared<Observers>())
{
}

NotificationCenter::Observation NotificationCenter::observe(
    std::string_view name, std::function<void()> handler)
{
    Observation observation;
    observation.m_observers = m_observers;
    observation.m_key = m_nextKey++;
    m_observers->emplace(
        observation.m_key, std::make_shared<Observer>(Observer {std::string(name), std::move(handler)}));
    return observation;
}

void NotificationCenter::post(std::string_view name)
{
    // A handler may begin and end observations, and even end this center: each is looked up again.
    const auto observers = m_observers;
    std::vector<std::uint64_t> keys;
    for (const auto& [key, observer] : *observers)
        if (observer->name == name)
            keys.push_back(key);
    for (const auto key : keys)
        if (const auto found = observers->find(key); found != observers->end()) {
            const auto observer = found->second;
            observer->handler();
        }
}

} // namespace reelwright
