#include "platform/RtAudioOutput.h"

#include <RtAudio.h>
#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <mutex>

namespace orvane {

namespace {

// RtAudio's error callback carries no context, so the last error text waits here for the thread
// that opened the stream. The stream thread may report too; it only tries the lock, never waits.
struct LastError {
    std::mutex mutex;
    std::string text;
};

LastError& lastError() {
    static LastError slot;
    return slot;
}

void recordError(RtAudioError::Type type, const std::string& text) {
    if (type == RtAudioError::WARNING || type == RtAudioError::DEBUG_WARNING)
        return; // warnings are not failures and are kept off the console
    auto& slot = lastError();
    std::unique_lock lock(slot.mutex, std::try_to_lock);
    if (lock.owns_lock())
        slot.text = text;
}

std::string takeLastError(std::string fallback) {
    auto& slot = lastError();
    std::lock_guard lock(slot.mutex);
    std::string text = slot.text.empty() ? std::move(fallback) : std::move(slot.text);
    slot.text.clear();
    return text;
}

// ALSA's library prints every failed probe to stderr (eight lines a poll on a machine without a
// card). RtAudio already loaded it, so its handler is set through the symbol rather than by
// linking ALSA a second time; without the symbol nothing changes.
using AlsaErrorHandler = void (*)(const char* file, int line, const char* function, int err, const char* fmt,
                                  ...);

void ignoreAlsaMessage(const char*, int, const char*, int, const char*, ...) {}

void silenceAlsaLibrary() {
    static const bool done = [] {
        using SetHandler = int (*)(AlsaErrorHandler);
        if (void* symbol = ::dlsym(RTLD_DEFAULT, "snd_lib_error_set_handler"))
            reinterpret_cast<SetHandler>(symbol)(&ignoreAlsaMessage);
        return true;
    }();
    (void)done;
}

void clearLastError() {
    auto& slot = lastError();
    std::lock_guard lock(slot.mutex);
    slot.text.clear();
}

} // namespace

struct RtAudioOutput::Api {
    RtAudio::Api number = RtAudio::UNSPECIFIED;
    std::string name;
    std::unique_ptr<RtAudio> audio;
};

struct RtAudioOutput::Stream {
    AudioRenderCallback callback;
    std::atomic<std::uint64_t> underruns{0};

    // RtAudio's stream thread. Non-interleaved output: the left channel's frames, then the right's.
    static int render(void* outputBuffer, void*, unsigned int frames, double, RtAudioStreamStatus status,
                      void* userData) noexcept {
        auto* self = static_cast<Stream*>(userData);
        if (status & RTAUDIO_OUTPUT_UNDERFLOW)
            self->underruns.fetch_add(1, std::memory_order_relaxed);
        auto* left = static_cast<float*>(outputBuffer);
        self->callback(left, left + frames, frames, AudioOutput::hostTimeNow());
        return 0;
    }
};

std::uint32_t RtAudioOutput::deviceID(unsigned apiNumber, unsigned deviceIndex) noexcept {
    return (static_cast<std::uint32_t>(apiNumber) << 16) | (deviceIndex & 0xFFFFu);
}

std::string RtAudioOutput::deviceUID(std::string_view apiName, std::string_view deviceName) {
    std::string uid(apiName);
    uid += ':';
    uid += deviceName;
    return uid;
}

std::vector<AudioOutputDevice> RtAudioOutput::outputDevices(unsigned apiNumber, std::string_view apiName,
                                                            const std::vector<RtAudioDeviceProbe>& probes) {
    std::vector<AudioOutputDevice> listed;
    std::map<std::string, int> seen;
    for (std::size_t index = 0; index < probes.size() && index <= 0xFFFF; ++index) {
        const auto& probe = probes[index];
        if (!probe.probed || probe.outputChannels == 0 || probe.name.empty())
            continue;
        const int count = ++seen[probe.name];
        std::string uid = deviceUID(apiName, probe.name);
        if (count > 1)
            uid += " #" + std::to_string(count);
        listed.push_back({deviceID(apiNumber, static_cast<unsigned>(index)), std::move(uid), probe.name});
    }
    return listed;
}

RtAudioOutput::RtAudioOutput() : stream_(std::make_unique<Stream>()) {
    silenceAlsaLibrary();
    std::vector<RtAudio::Api> compiled;
    RtAudio::getCompiledApi(compiled);
    for (const auto number : compiled) {
        if (number == RtAudio::RTAUDIO_DUMMY || number == RtAudio::UNSPECIFIED)
            continue;
        try {
            auto api = std::make_unique<Api>();
            api->number = number;
            api->name = RtAudio::getApiName(number);
            api->audio = std::make_unique<RtAudio>(number);
            api->audio->showWarnings(false);
            apis_.push_back(std::move(api));
        } catch (...) {
            // An API that can't even be set up has no devices to offer; leave it out.
        }
    }
}

RtAudioOutput::~RtAudioOutput() {
    stop();
}

std::vector<std::string> RtAudioOutput::apiNames() const {
    std::vector<std::string> names;
    for (const auto& api : apis_)
        names.push_back(api->name);
    return names;
}

std::vector<RtAudioDeviceProbe> RtAudioOutput::probe(Api& api) {
    std::vector<RtAudioDeviceProbe> probes;
    try {
        const unsigned count = api.audio->getDeviceCount();
        for (unsigned index = 0; index < count; ++index) {
            RtAudioDeviceProbe probe;
            try {
                const auto info = api.audio->getDeviceInfo(index);
                probe.probed = info.probed;
                probe.name = info.name;
                probe.outputChannels = info.outputChannels;
                probe.isDefaultOutput = info.isDefaultOutput;
            } catch (...) {
                probe.probed = false; // a device that fails its probe is passed over
            }
            probes.push_back(std::move(probe));
        }
    } catch (...) {
        probes.clear(); // the API can't be asked: no devices from it
    }
    clearLastError();
    return probes;
}

std::vector<AudioOutputDevice> RtAudioOutput::devices() {
    std::vector<AudioOutputDevice> listed;
    for (auto& api : apis_) {
        auto fromApi = outputDevices(static_cast<unsigned>(api->number), api->name, probe(*api));
        listed.insert(listed.end(), std::make_move_iterator(fromApi.begin()),
                      std::make_move_iterator(fromApi.end()));
    }
    return listed;
}

std::optional<std::uint32_t> RtAudioOutput::defaultDevice() {
    for (auto& api : apis_) {
        const auto probes = probe(*api);
        const auto listed = outputDevices(static_cast<unsigned>(api->number), api->name, probes);
        if (listed.empty())
            continue;
        for (std::size_t index = 0; index < probes.size(); ++index) {
            const std::uint32_t id =
                deviceID(static_cast<unsigned>(api->number), static_cast<unsigned>(index));
            const bool offered =
                std::any_of(listed.begin(), listed.end(), [id](const auto& d) { return d.id == id; });
            if (probes[index].isDefaultOutput && offered)
                return id;
        }
        return listed.front().id; // the API names no default among its outputs: its first output
    }
    return std::nullopt;
}

tl::expected<void, std::string> RtAudioOutput::start(std::optional<std::uint32_t> device,
                                                     AudioRenderCallback callback) {
    stop();
    if (!callback)
        return tl::make_unexpected(std::string{"No render callback was given."});
    if (!device)
        device = defaultDevice();
    if (!device)
        return tl::make_unexpected(std::string{"No audio output device is available."});
    const unsigned apiNumber = *device >> 16;
    const unsigned deviceIndex = *device & 0xFFFFu;
    const auto api = std::find_if(apis_.begin(), apis_.end(), [apiNumber](const auto& a) {
        return static_cast<unsigned>(a->number) == apiNumber;
    });
    if (api == apis_.end())
        return tl::make_unexpected("No audio output device has the id " + std::to_string(*device) + ".");
    stream_->callback = std::move(callback);
    stream_->underruns.store(0, std::memory_order_relaxed);
    return openOn(**api, deviceIndex);
}

tl::expected<void, std::string> RtAudioOutput::openOn(Api& api, unsigned deviceIndex) {
    RtAudio& audio = *api.audio;
    clearLastError();
    try {
        RtAudio::StreamParameters parameters;
        parameters.deviceId = deviceIndex;
        parameters.nChannels = static_cast<unsigned>(AudioOutput::channels);
        parameters.firstChannel = 0;
        RtAudio::StreamOptions options;
        options.flags = RTAUDIO_NONINTERLEAVED | RTAUDIO_SCHEDULE_REALTIME;
        options.streamName = "Orvane";
        unsigned frames = bufferFrames;
        audio.openStream(&parameters, nullptr, RTAUDIO_FLOAT32,
                         static_cast<unsigned>(AudioOutput::sampleRate), &frames, &Stream::render,
                         stream_.get(), &options, &recordError);
        if (!audio.isStreamOpen())
            return tl::make_unexpected(takeLastError("The audio output could not be opened."));
        streamApi_ = &api;
        audio.startStream();
        if (!audio.isStreamRunning()) {
            stop();
            return tl::make_unexpected(takeLastError("The audio output could not be started."));
        }
        const long latencyFrames = std::max(0L, audio.getStreamLatency());
        latencySeconds_ =
            static_cast<double>(latencyFrames + static_cast<long>(frames)) / AudioOutput::sampleRate;
        return {};
    } catch (const std::exception& e) {
        stop();
        return tl::make_unexpected(std::string{e.what()});
    } catch (...) {
        stop();
        return tl::make_unexpected(std::string{"The audio output failed for an unknown reason."});
    }
}

void RtAudioOutput::stop() {
    if (!streamApi_)
        return;
    RtAudio& audio = *streamApi_->audio;
    // Stop and close must not throw out of here; what fails is left to the next open.
    try {
        if (audio.isStreamRunning())
            audio.stopStream();
    } catch (...) {
    }
    try {
        if (audio.isStreamOpen())
            audio.closeStream();
    } catch (...) {
    }
    streamApi_ = nullptr;
    latencySeconds_ = 0.0;
    clearLastError();
}

bool RtAudioOutput::isRunning() const {
    try {
        return streamApi_ && streamApi_->audio->isStreamRunning();
    } catch (...) {
        return false;
    }
}

std::uint64_t RtAudioOutput::underruns() const {
    return stream_->underruns.load(std::memory_order_relaxed);
}

} // namespace orvane
