#include "monitoring/AudioDeviceManager.h"

#include "platform/DefaultsStore.h"
#include "platform/MainLoop.h"

#include <algorithm>

namespace orvane {

AudioDeviceManager::AudioDeviceManager(AudioOutput& output, DefaultsStore& defaults, MainLoop* mainLoop)
    : output_(output), defaults_(defaults), mainLoop_(mainLoop) {
    auto stored = defaults_.stringValue(outputDeviceUIDKey);
    if (stored && !stored->empty())
        selectedUID_ = std::move(*stored);
}

AudioDeviceManager::~AudioDeviceManager() {
    if (mainLoop_ && pollTimer_)
        mainLoop_->cancelTimer(*pollTimer_);
}

std::vector<AudioOutputDevice> AudioDeviceManager::queryOutputDevices() {
    // The backends already pass over devices without outputs or with unreadable names; the order
    // stays theirs.
    return output_.devices();
}

void AudioDeviceManager::attach(OutputDeviceTarget& playback) {
    playback_ = &playback;
    auto listed = queryOutputDevices();
    if (listed != devices_) {
        devices_ = std::move(listed);
        notifyObservers();
    }
    installListeners();
    if (!selectedUID_)
        return;
    if (const auto* chosen = deviceWithUID(*selectedUID_)) {
        const std::uint32_t id = chosen->id;
        appliedDeviceID_ = id;
        playback_->setOutputDevice(id);
    }
    // A choice that isn't connected stays; the engine keeps the system default until it returns.
}

void AudioDeviceManager::detach() {
    playback_ = nullptr;
}

void AudioDeviceManager::installListeners() {
    if (listenersInstalled_)
        return;
    listenersInstalled_ = true;
    lastSeenDefault_ = output_.defaultDevice();
    if (mainLoop_)
        pollTimer_ =
            mainLoop_->addTimer(pollIntervalSeconds, TimerRepeat::repeating, [this] { pollDevices(); });
}

void AudioDeviceManager::pollDevices() {
    auto listed = queryOutputDevices();
    if (listed != devices_) {
        devices_ = std::move(listed);
        notifyObservers();
        onDeviceListChanged();
    }
    const auto currentDefault = output_.defaultDevice();
    if (currentDefault != lastSeenDefault_) {
        lastSeenDefault_ = currentDefault;
        onDefaultDeviceChanged();
    }
}

void AudioDeviceManager::onDeviceListChanged() {
    applySelection();
}

void AudioDeviceManager::onDefaultDeviceChanged() {
    if (selectedUID_)
        return; // a choice made by the user outranks the system's default
    const auto target = output_.defaultDevice();
    if (!target || *target == 0)
        return;
    if (!appliedDeviceID_ || *appliedDeviceID_ != *target)
        moveTo(*target);
}

void AudioDeviceManager::select(std::optional<std::string> uid) {
    if (uid && uid->empty())
        uid.reset();
    const bool changed = uid != selectedUID_;
    selectedUID_ = std::move(uid);
    // A store that can't be written keeps the value for this run; the reason is on the console.
    if (selectedUID_)
        defaults_.setString(outputDeviceUIDKey, *selectedUID_);
    else
        defaults_.remove(outputDeviceUIDKey);
    if (changed)
        notifyObservers();
    applySelection();
}

void AudioDeviceManager::applySelection() {
    std::optional<std::uint32_t> target;
    if (selectedUID_) {
        if (const auto* chosen = deviceWithUID(*selectedUID_))
            target = chosen->id;
    }
    if (!target) {
        target = output_.defaultDevice();
        if (!target || *target == 0)
            return;
    }
    if (appliedDeviceID_ == target)
        return;
    moveTo(*target);
}

void AudioDeviceManager::moveTo(std::uint32_t deviceID) {
    // Without an engine there is nothing to move; attach() applies the choice later.
    if (!playback_)
        return;
    appliedDeviceID_ = deviceID;
    playback_->setOutputDevice(deviceID);
}

const AudioOutputDevice* AudioDeviceManager::deviceWithUID(std::string_view uid) const {
    const auto it =
        std::find_if(devices_.begin(), devices_.end(), [uid](const auto& d) { return d.uid == uid; });
    return it == devices_.end() ? nullptr : &*it;
}

AudioDeviceManager::ObserverID AudioDeviceManager::addObserver(std::function<void()> observer) {
    const ObserverID id = nextObserverID_++;
    observers_.emplace(id, std::move(observer));
    return id;
}

void AudioDeviceManager::removeObserver(ObserverID id) {
    observers_.erase(id);
}

void AudioDeviceManager::notifyObservers() {
    // A copy, so an observer may add or remove observers.
    const auto observers = observers_;
    for (const auto& [id, observer] : observers) {
        if (observers_.count(id) && observer)
            observer();
    }
}

} // namespace orvane
