#include "delivery/DDPImportError.h"

namespace orvane {

namespace {

template <class... F> struct Overloaded : F... { using F::operator()...; };
template <class... F> Overloaded(F...) -> Overloaded<F...>;

} // namespace

std::string DDPImportError::message() const {
    return std::visit(
        Overloaded{
            [](const MissingFile& e) { return "DDP fileset is missing " + e.name + "."; },
            [](const InvalidPQ& e) { return "PQ descriptor is invalid: " + e.reason + "."; },
            [](const NoTracks&) { return std::string("DDP fileset contains no audio tracks."); },
            [](const AudioTooShort&) {
                return std::string("IMAGE.DAT is shorter than the PQ descriptor claims.");
            },
            [](const Cancelled&) { return std::string("The import was cancelled."); },
            [](const CannotWrite& e) {
                return "Could not write \u201C" + e.name + "\u201D: " + e.reason + ".";
            },
        },
        value);
}

} // namespace orvane
