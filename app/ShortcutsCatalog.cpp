#include "app/ShortcutsCatalog.h"

namespace orvane::app::ShortcutsCatalog {

const std::vector<ShortcutGroup>& groups() {
    static const std::vector<ShortcutGroup> catalog{
        {"Transport",
         {{"Space", "Play / stop"},
          {"Return", "Stop"},
          {"[ / ]", "Set loop in / out at the playhead"},
          {"Esc", "Clear loop region"},
          {"2\u00d7 click row", "Play from that track"}}},
        {"Editing",
         {{"Ctrl+Z", "Undo"},
          {"Shift+Ctrl+Z", "Redo"},
          {"Shift+Ctrl+G", "Toggle Snap (hold Ctrl while dragging to bypass)"},
          {"\u2190 / \u2192", "Nudge selected track by 1 frame (Shift = 1 s); timeline must be focused"},
          {"Backspace", "Delete selected track or version"},
          {"Alt+Ctrl+0", "Show / hide the inspector"}}},
        {"File",
         {{"Ctrl+O", "Open project"},
          {"Ctrl+S", "Save"},
          {"Shift+Ctrl+S", "Save As"},
          {"Alt+Ctrl+I", "Import DDP"}}},
        {"Tools",
         {{"Ctrl+E", "Export DDP fileset"},
          {"Shift+Ctrl+E", "PQ sheet"},
          {"Shift+Ctrl+R", "Mastering report (branded client PDF)"},
          {"Alt+Ctrl+E", "Batch delivery (DDP + WAV + preview + PQ)"},
          {"Meta+Ctrl+E", "Vinyl pre-master (24-bit side A/B + cue sheet)"},
          {"Alt+Ctrl+V", "Vinyl mode (side arrangement on the timeline)"},
          {"Ctrl+B", "Burn Audio CD"},
          {"Ctrl+L", "Analyze loudness (R128)"},
          {"Ctrl+K", "Validate project"}}},
        {"Help", {{"Ctrl+/", "Keyboard shortcuts overlay"}, {"Ctrl+?", "Open Help"}}},
    };
    return catalog;
}

} // namespace orvane::app::ShortcutsCatalog
