#pragma once
// Named notifications inside the desktop: a command posts a name and whoever observes it is told,
// without the poster knowing its observers (a settings toggle and the views that draw by it).
// GUI thread only.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::app {

class NotificationCenter final {
  public:
    using ObserverID = std::uint64_t;

    // Posted after "orvane.metalWaveform" changes: the timeline's waveforms are drawn anew.
    static constexpr std::string_view waveRendererChanged = "orvane.waveRendererChanged";

    static NotificationCenter& shared();

    ObserverID observe(std::string_view name, std::function<void()> observer);
    void remove(ObserverID id);
    // Tells every observer of `name`, in the order they came; an observer may remove itself.
    void post(std::string_view name);

  private:
    struct Entry {
        ObserverID id = 0;
        std::string name;
        std::function<void()> observer;
    };
    std::vector<Entry> entries_;
    ObserverID next_ = 1;
};

} // namespace orvane::app
