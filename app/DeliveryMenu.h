#pragma once
// The delivery entries of the Export menu, in the menu's order after "DDP Fileset…": track files,
// CUE + image, the "Client CD Preview" submenu and "Batch Delivery…". GUI thread.

class QMenu;

namespace orvane::app {

class OrvaneApp;

namespace DeliveryMenu {

void addExports(QMenu& exportMenu, OrvaneApp& app);

} // namespace DeliveryMenu

} // namespace orvane::app
