#pragma once
// The error a long job throws when the user stopped it through its progress callback. Callers show
// nothing for it; it is not a failure. Any thread.
#include <string>

namespace orvane {

struct UserCancelledError {
    std::string domain = "UserCancelled";
    std::string message = "The operation was cancelled.";
};

} // namespace orvane
