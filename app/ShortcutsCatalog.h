#pragma once
// What the keyboard-shortcut overlay lists: five groups of keys and what they do, in the order
// shown. Plain data; any thread.

#include <string>
#include <vector>

namespace orvane::app {

struct ShortcutItem {
    std::string keys;
    std::string action;
    bool operator==(const ShortcutItem&) const = default;
};

struct ShortcutGroup {
    std::string title;
    std::vector<ShortcutItem> items;
    bool operator==(const ShortcutGroup&) const = default;
};

namespace ShortcutsCatalog {

// "Transport", "Editing", "File", "Tools", "Help", with this platform's key names.
const std::vector<ShortcutGroup>& groups();

} // namespace ShortcutsCatalog

} // namespace orvane::app
