#include "analysis/SampleWindowCache.h"

#include "platform/AudioFileReader.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace orvane {

namespace {

constexpr std::size_t readBlockFrames = 65536;

// The frames [first, last) a stretch covers in a file of `total` frames: the truncated lower edge and
// one past the truncated upper edge, bounded by the file. Nothing for a fraction that is no number.
std::optional<std::pair<std::int64_t, std::int64_t>> framesFor(std::int64_t total,
                                                               SampleWindowCache::Fraction fraction) {
    if (!std::isfinite(fraction.lower) || !std::isfinite(fraction.upper)) {
        return std::nullopt;
    }
    const double lower = std::clamp(fraction.lower, 0.0, 1.0);
    const double upper = std::clamp(fraction.upper, 0.0, 1.0);
    const double size = static_cast<double>(total);
    const auto first = std::max<std::int64_t>(static_cast<std::int64_t>(std::trunc(size * lower)), 0);
    const auto last = std::min<std::int64_t>(static_cast<std::int64_t>(std::trunc(size * upper)) + 1, total);
    return std::make_pair(first, last);
}

} // namespace

SampleWindowCache::SampleWindowCache() = default;

std::optional<SampleWindowCache::Window> SampleWindowCache::loadWindow(const std::filesystem::path& url,
                                                                       Fraction fraction) {
    auto reader = AudioFileReader::open(url);
    if (!reader || reader->channelCount() < 1) {
        return std::nullopt;
    }
    const std::int64_t total = reader->lengthFrames();
    if (total <= 0) {
        return std::nullopt;
    }
    const auto range = framesFor(total, fraction);
    if (!range || range->first >= range->second) {
        return std::nullopt;
    }
    // What is on screen and as much again on either side, but never less than the margin, so that a
    // small scroll needs no new read.
    const std::int64_t span = std::max(range->second - range->first, minimumMarginFrames);
    const std::int64_t start = std::max<std::int64_t>(range->first - span, 0);
    const std::int64_t end = std::min(range->second + span, total);
    if (!reader->setFramePosition(start)) {
        return std::nullopt;
    }

    Window window;
    window.nativeStart = start;
    window.nativeTotal = total;
    window.samples.reserve(static_cast<std::size_t>(end - start));
    AudioBuffer block = reader->makeBuffer(readBlockFrames);
    const bool stereo = reader->channelCount() >= 2;
    while (window.nativeEnd() < end) {
        const auto want = static_cast<std::size_t>(
            std::min<std::int64_t>(end - window.nativeEnd(), static_cast<std::int64_t>(readBlockFrames)));
        const auto got = reader->read(block, want);
        if (!got) {
            return std::nullopt; // a window with a hole would draw wrong samples
        }
        if (*got == 0) {
            break; // the file ends short of its stated length; keep what is there
        }
        const float* left = block.channel(0);
        const float* right = stereo ? block.channel(1) : left;
        for (std::size_t i = 0; i < *got; ++i) {
            window.samples.push_back((left[i] + right[i]) * 0.5f);
        }
    }
    if (window.samples.empty()) {
        return std::nullopt;
    }
    return window;
}

SampleWindowCache::WindowPtr SampleWindowCache::Store::cachedLocked(const std::filesystem::path& url,
                                                                    Fraction fraction) {
    const auto found = windows.find(url);
    if (found == windows.end()) {
        return nullptr;
    }
    const Window& w = *found->second;
    const auto range = framesFor(w.nativeTotal, fraction);
    if (!range || range->first < w.nativeStart || range->second > w.nativeEnd()) {
        return nullptr;
    }
    touchLocked(url);
    return found->second;
}

void SampleWindowCache::Store::touchLocked(const std::filesystem::path& url) {
    lru.remove(url);
    lru.push_back(url);
}

void SampleWindowCache::Store::storeLocked(const std::filesystem::path& url, WindowPtr window) {
    windows[url] = std::move(window);
    touchLocked(url);
    while (lru.size() > maxWindows) {
        windows.erase(lru.front());
        lru.pop_front();
    }
}

std::shared_ptr<const SampleWindowCache::Window> SampleWindowCache::window(const std::filesystem::path& url,
                                                                           Fraction fraction) {
    {
        const std::lock_guard<std::mutex> guard(store_->lock);
        if (auto hit = store_->cachedLocked(url, fraction)) {
            return hit;
        }
    }
    auto loaded = loadWindow(url, fraction); // outside the lock: other views keep drawing meanwhile
    if (!loaded) {
        return nullptr;
    }
    auto shared = std::make_shared<const Window>(std::move(*loaded));
    const std::lock_guard<std::mutex> guard(store_->lock);
    store_->storeLocked(url, shared);
    return shared;
}

void SampleWindowCache::prewarm(const std::filesystem::path& url, Fraction fraction) {
    {
        const std::lock_guard<std::mutex> guard(store_->lock);
        if (store_->cachedLocked(url, fraction) || store_->inFlight.count(url) != 0) {
            return;
        }
        store_->inFlight.insert(url);
    }
    std::weak_ptr<Store> weakStore = store_;
    queue_.async([weakStore, url, fraction] {
        if (weakStore.expired()) {
            return;
        }
        auto loaded = loadWindow(url, fraction);
        const auto store = weakStore.lock();
        if (!store) {
            return;
        }
        const std::lock_guard<std::mutex> guard(store->lock);
        if (loaded) {
            store->storeLocked(url, std::make_shared<const Window>(std::move(*loaded)));
        }
        store->inFlight.erase(url);
    });
}

std::vector<std::filesystem::path> SampleWindowCache::cachedFiles() const {
    const std::lock_guard<std::mutex> guard(store_->lock);
    return {store_->lru.begin(), store_->lru.end()};
}

bool SampleWindowCache::isInFlight(const std::filesystem::path& url) const {
    const std::lock_guard<std::mutex> guard(store_->lock);
    return store_->inFlight.count(url) != 0;
}

} // namespace orvane
