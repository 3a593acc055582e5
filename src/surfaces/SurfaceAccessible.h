#pragma once

class QObject;

namespace tessary {

class SurfacePanel;

// How assistive technologies read a surface: the panel as a window named by its modules' titles
// and values, described by their readouts, with one child element per module.
namespace SurfaceAccessible {

// Makes Qt build these interfaces for every SurfacePanel; safe to call again.
void install();
// Tells assistive technologies that the panel's texts (or its number of modules) changed.
void contentChanged(SurfacePanel* panel, bool countChanged);

} // namespace SurfaceAccessible

} // namespace tessary
