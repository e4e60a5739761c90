#pragma once
// Which output device the engine plays through: the list of output devices, the user's choice
// (kept in the defaults store under "orvane.outputDeviceUID"), and the fallback to the system
// default while the chosen device is missing. The output backends send no notifications, so a
// main-loop timer polls the device list and the default device. Main thread only.

#include "platform/AudioOutput.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane {

class DefaultsStore;
class MainLoop;

// What the manager moves to another device; the playback engine implements it.
class OutputDeviceTarget {
  public:
    virtual ~OutputDeviceTarget() = default;
    // Stops the transport, reopens the output on `deviceID` and leaves playback stopped.
    virtual void setOutputDevice(std::uint32_t deviceID) = 0;
};

class AudioDeviceManager final {
  public:
    static constexpr std::string_view outputDeviceUIDKey = "orvane.outputDeviceUID";
    static constexpr double pollIntervalSeconds = 2.0;

    using ObserverID = std::uint64_t;

    // Reads the stored choice. Without a main loop nothing polls; pollDevices() may be called by hand.
    AudioDeviceManager(AudioOutput& output, DefaultsStore& defaults, MainLoop* mainLoop);
    ~AudioDeviceManager(); // cancels the poll timer
    AudioDeviceManager(const AudioDeviceManager&) = delete;
    AudioDeviceManager& operator=(const AudioDeviceManager&) = delete;

    // Links the engine, reads the devices, installs the listeners, and moves the engine to the
    // chosen device if it is present. A chosen device that is absent is kept as the choice.
    void attach(OutputDeviceTarget& playback);
    // Drops the engine link (call before the engine goes); later device changes reach no one.
    void detach();

    // The menu's choice; absent for the system default. Stored (or removed) in the defaults.
    void select(std::optional<std::string> uid);
    // Moves the engine to the chosen device, or to the system default when there is no choice or
    // the chosen device is gone. Does nothing if that device is already applied.
    void applySelection();

    // The output's devices with at least one output channel, in its order.
    std::vector<AudioOutputDevice> queryOutputDevices();
    // Once only: starts the poll timer and remembers the current default device.
    void installListeners();
    // One poll: a changed device list is stored and the selection applied again; a changed
    // default device moves the engine when no choice is made. What the timer runs.
    void pollDevices();

    const std::vector<AudioOutputDevice>& devices() const { return devices_; }
    const std::optional<std::string>& selectedUID() const { return selectedUID_; }
    std::optional<std::uint32_t> appliedDeviceID() const { return appliedDeviceID_; }
    bool listenersInstalled() const { return listenersInstalled_; }
    bool isAttached() const { return playback_ != nullptr; }

    // Told after `devices` or `selectedUID` changed.
    ObserverID addObserver(std::function<void()> observer);
    void removeObserver(ObserverID id);

  private:
    void onDeviceListChanged();
    void onDefaultDeviceChanged();
    void moveTo(std::uint32_t deviceID);
    void notifyObservers();
    const AudioOutputDevice* deviceWithUID(std::string_view uid) const;

    AudioOutput& output_;
    DefaultsStore& defaults_;
    MainLoop* mainLoop_;
    OutputDeviceTarget* playback_ = nullptr; // weak: cleared by detach()

    std::vector<AudioOutputDevice> devices_;
    std::optional<std::string> selectedUID_;
    std::optional<std::uint32_t> appliedDeviceID_;
    std::optional<std::uint32_t> lastSeenDefault_; // what the previous poll read
    bool listenersInstalled_ = false;
    std::optional<std::uint64_t> pollTimer_;

    std::map<ObserverID, std::function<void()>> observers_;
    ObserverID nextObserverID_ = 1;
};

} // namespace orvane
