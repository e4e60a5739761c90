#pragma once
// Real mono samples around what a deeply zoomed timeline shows: at most one window per file, the six
// most recently used files kept, read synchronously on a miss or ahead of need on a serial prewarm
// queue ("orvane.samplewindow.prewarm"). One cache per timeline view. window() and prewarm() may be
// called from any thread; the lock guards only the collections, never a file read.

#include "platform/SerialQueue.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace orvane {

class SampleWindowCache final {
  public:
    struct Window {
        std::int64_t nativeStart = 0; // first frame of the window in the file
        std::int64_t nativeTotal = 0; // frames in the whole file
        std::vector<float> samples;   // mono, (left + right) / 2, from nativeStart
        bool operator==(const Window&) const = default;
        std::int64_t nativeEnd() const { return nativeStart + static_cast<std::int64_t>(samples.size()); }
    };
    // A stretch of the file as fractions of its length, 0 to 1, lower first.
    struct Fraction {
        double lower = 0.0;
        double upper = 1.0;
    };

    static constexpr std::size_t maxWindows = 6;
    // Frames read beyond each side of what is asked for, at the least.
    static constexpr std::int64_t minimumMarginFrames = 131072;

    SampleWindowCache();
    SampleWindowCache(const SampleWindowCache&) = delete;
    SampleWindowCache& operator=(const SampleWindowCache&) = delete;
    // Prewarms still queued are dropped; one being read finishes first.
    ~SampleWindowCache() = default;

    // The window holding the stretch, reading it now if the cache has none; nullptr for a file that
    // can't be opened or read, an empty file, or a stretch with nothing in it (fractions outside 0 to 1
    // are clamped; a fraction that is no number gives nothing).
    std::shared_ptr<const Window> window(const std::filesystem::path& url, Fraction fraction);
    // The same request in the background, with no result; nothing if the cache already answers it
    // or a prewarm of that file is running, whatever its stretch.
    void prewarm(const std::filesystem::path& url, Fraction fraction);

    // Reads the window for a stretch straight from the file (no cache); nothing as for window().
    static std::optional<Window> loadWindow(const std::filesystem::path& url, Fraction fraction);

    // For views and tests: what the cache holds now, least recently used first.
    std::vector<std::filesystem::path> cachedFiles() const;
    bool isInFlight(const std::filesystem::path& url) const;
    SerialQueue& prewarmQueue() { return queue_; }

  private:
    using WindowPtr = std::shared_ptr<const Window>;
    // The collections, shared with queued prewarms, which hold them weakly: a prewarm that outlives
    // the cache finds them gone and stores nothing.
    struct Store {
        mutable std::mutex lock;
        std::map<std::filesystem::path, WindowPtr> windows;
        std::list<std::filesystem::path> lru; // least recently used first
        std::set<std::filesystem::path> inFlight;

        WindowPtr cachedLocked(const std::filesystem::path& url, Fraction fraction);
        void storeLocked(const std::filesystem::path& url, WindowPtr window);
        void touchLocked(const std::filesystem::path& url);
    };

    // Declared before the store, so it is destroyed after it: queued prewarms then find the store gone
    // and skip their read, and the worker is joined last.
    SerialQueue queue_{"orvane.samplewindow.prewarm"};
    std::shared_ptr<Store> store_ = std::make_shared<Store>();
};

} // namespace orvane
