// libFuzzer target for the project decoder: any bytes must give a project or a decode error, and a
// project that decodes must survive encoding and decoding again unchanged, as a save and reopen do.

#include "model/ProjectCoding.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string_view>

namespace {

// The document writer refuses non-finite numbers (JSON cannot spell them), so a round trip of one
// proves nothing.
bool holdsNonFiniteNumber(const nlohmann::json& value) {
    if (value.is_number_float())
        return !std::isfinite(value.get<double>());
    if (value.is_structured())
        for (const auto& element : value)
            if (holdsNonFiniteNumber(element))
                return true;
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const nlohmann::json document = nlohmann::json::parse(bytes, nullptr, /*allow_exceptions=*/false);
    if (document.is_discarded())
        return 0;
    // A whole document holds the project under "project"; a bare project object is tried too so
    // the fuzzer reaches the records without first having to find the wrapper.
    const auto wrapped = document.is_object() ? document.find("project") : document.end();
    const nlohmann::json& project = wrapped != document.end() ? *wrapped : document;

    const auto decoded = orvane::ProjectCoding::decode(project);
    if (!decoded) {
        if (decoded.error().message.empty())
            __builtin_trap(); // every failure says what is wrong
        return 0;
    }
    const nlohmann::json encoded = orvane::ProjectCoding::encode(*decoded);
    if (holdsNonFiniteNumber(encoded))
        return 0;
    const auto reread = orvane::ProjectCoding::decode(nlohmann::json::parse(encoded.dump()));
    if (!reread || !(*reread == *decoded))
        __builtin_trap(); // what was written must read back as the same project
    if (orvane::ProjectCoding::encode(*reread) != encoded)
        __builtin_trap(); // and encode to the same document
    return 0;
}
