// Files that appear as a whole or not at all.
#pragma once

#include <functional>
#include <string>

/// A whole file or none where the name is free or that of a plain file, which keeps its permissions; a link, a device or a
/// pipe is written in place. False when it can't be written.
bool writeText(const std::string& filename, const std::string& text);

/// The name that findHoles() gives to its drawing, in the current folder.
inline const std::string DRAWING = "holes.list";

/// Writes a drawing, which the library writes in place, as writeText() does. draw: writes DRAWING into the current folder,
/// which for that time is a temporary one, so that relative names of other files mean nothing to it. False when draw says
/// so or leaves no whole drawing. Holds the text in memory. Not for several threads at once.
bool writeDrawing(const std::string& filename, const std::function<bool()>& draw);
