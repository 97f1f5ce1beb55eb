// The graphics device's life within a session.
#pragma once

namespace zenfit {

struct Engine;
class GraphicsDevice;

// Start-up: settles the pens against the installed device's defaults.
void resetGraphics(Engine& engine);
// Closes the device at the end of a session.
void shutdownGraphics(Engine& engine);
// The device PLTON opens.
GraphicsDevice& installedDevice(Engine& engine);

}  // namespace zenfit
