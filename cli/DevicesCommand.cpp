// orvane-cli devices: the audio outputs playback can use, as the device menu lists them.

#include "cli/Commands.h"
#include "monitoring/AudioDeviceManager.h"
#include "platform/DefaultsStore.h"
#include "platform/SystemAudioOutput.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>

namespace orvane::cli {

namespace {

constexpr const char* kHelp = R"(usage: orvane-cli devices [--json]

Lists the audio output devices, in the order the sound system gives them: every device with at
least one output channel from JACK, PulseAudio and ALSA, then "Offline", which plays on its own
clock without sound hardware. Each line shows the device's uid (stable across restarts; the
choice is stored by it) and its name. "*" marks the system default; "chosen" marks the device
stored as the user's choice.

  --json   one JSON object {"devices": [{"id", "uid", "name", "isDefault", "isChosen"}],
           "chosenUID": uid or null}

exit status: 0 success, 2 usage error
)";

} // namespace

int runDevices(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    bool json = false;
    for (const auto& arg : args) {
        if (arg == "--json") {
            json = true;
        } else {
            std::fprintf(stderr, "orvane-cli devices: unknown argument '%s'\n", arg.c_str());
            return 2;
        }
    }

    auto output = makeSystemAudioOutput();
    const auto devices = output->devices();
    const auto defaultID = output->defaultDevice();
    const auto chosenUID = DefaultsStore::standard().stringValue(AudioDeviceManager::outputDeviceUIDKey);

    if (json) {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const auto& device : devices)
            list.push_back({{"id", device.id},
                            {"uid", device.uid},
                            {"name", device.name},
                            {"isDefault", defaultID == device.id},
                            {"isChosen", chosenUID == device.uid}});
        nlohmann::ordered_json result{{"devices", list}, {"chosenUID", nullptr}};
        if (chosenUID)
            result["chosenUID"] = *chosenUID;
        std::cout << result.dump(2) << '\n';
        return 0;
    }

    std::size_t uidWidth = 0;
    for (const auto& device : devices)
        uidWidth = std::max(uidWidth, device.uid.size());
    for (const auto& device : devices) {
        std::cout << (defaultID == device.id ? "* " : "  ") << device.uid
                  << std::string(uidWidth - device.uid.size() + 2, ' ') << device.name
                  << (chosenUID == device.uid ? "  (chosen)" : "") << '\n';
    }
    if (chosenUID &&
        std::none_of(devices.begin(), devices.end(), [&](const auto& d) { return d.uid == *chosenUID; }))
        std::cout << "The chosen device " << *chosenUID << " is not connected; the default is used.\n";
    return 0;
}

} // namespace orvane::cli
