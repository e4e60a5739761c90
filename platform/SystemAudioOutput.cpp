#include "platform/SystemAudioOutput.h"

#include "platform/RtAudioOutput.h"

namespace orvane {

SystemAudioOutput::SystemAudioOutput(std::unique_ptr<AudioOutput> hardware,
                                     std::unique_ptr<OfflineAudioOutput> offline)
    : hardware_(std::move(hardware)), offline_(std::move(offline)) {
    if (!offline_)
        offline_ = std::make_unique<OfflineAudioOutput>();
}

SystemAudioOutput::~SystemAudioOutput() {
    stop();
}

std::vector<AudioOutputDevice> SystemAudioOutput::devices() {
    std::vector<AudioOutputDevice> listed;
    if (hardware_)
        listed = hardware_->devices();
    listed.push_back(OfflineAudioOutput::device());
    return listed;
}

std::optional<std::uint32_t> SystemAudioOutput::defaultDevice() {
    if (hardware_) {
        if (auto id = hardware_->defaultDevice())
            return id;
    }
    // Without sound hardware the offline device keeps playback, meters and positions running.
    return OfflineAudioOutput::deviceID;
}

tl::expected<void, std::string> SystemAudioOutput::start(std::optional<std::uint32_t> device,
                                                         AudioRenderCallback callback) {
    stop();
    const std::uint32_t target = device ? *device : *defaultDevice();
    AudioOutput* backend =
        target == OfflineAudioOutput::deviceID ? static_cast<AudioOutput*>(offline_.get()) : hardware_.get();
    if (!backend)
        return tl::make_unexpected("No audio output device has the id " + std::to_string(target) + ".");
    auto started = backend->start(target, std::move(callback));
    if (started)
        active_ = backend;
    return started;
}

void SystemAudioOutput::stop() {
    if (active_)
        active_->stop();
    active_ = nullptr;
}

bool SystemAudioOutput::isRunning() const {
    return active_ && active_->isRunning();
}

double SystemAudioOutput::presentationLatency() const {
    return active_ ? active_->presentationLatency() : 0.0;
}

std::uint64_t SystemAudioOutput::underruns() const {
    return active_ ? active_->underruns() : 0;
}

std::unique_ptr<SystemAudioOutput> makeSystemAudioOutput() {
    return std::make_unique<SystemAudioOutput>(std::make_unique<RtAudioOutput>(),
                                               std::make_unique<OfflineAudioOutput>());
}

} // namespace orvane
