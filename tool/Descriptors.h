#pragma once

namespace tool {

/// Fills the places of standard streams that were closed when the process began, before a file that
/// is opened, the token's even, can take one and receive what is printed there. Reading and writing
/// go on failing as at a closed one. Whether that succeeded.
bool reserveStandardStreams();

/// A write to a pipe that nobody reads, or beyond the largest file, fails and does not end the
/// process: a token could be lost that can be had only once.
void surviveFailedWrites();

/// Takes both back: for a program that takes this process's place, or inherits from it. What was
/// closed is closed again, and what the caller had ignored already still is.
void restoreInherited();

/// Throws std::system_error where the process may not open as many files and connections as a
/// request can come to need. Those who run out of them on the way, other libraries among them, do
/// not all find a way back; and a token could be lost that can be had only once.
void requireDescriptors();

}  // namespace tool
