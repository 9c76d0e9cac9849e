#pragma once

namespace tool {

/// Occupies the standard streams that were closed when the process started. Otherwise a file that
/// is opened, even the token's, could get one of their numbers and receive printed output. Reading
/// and writing keep failing as on a closed stream. Returns whether that worked.
bool reserveStandardStreams();

/// After this, a write to a pipe without a reader, or beyond the largest file size, fails but does
/// not end the process, which could lose a token that is issued only once.
void surviveFailedWrites();

/// Undoes both, for a program that replaces this process or inherits from it. Closed streams are
/// closed again, and signals that the caller had ignored stay ignored.
void restoreInherited();

/// Throws std::system_error if the process may not open as many files and connections as a request
/// can need. If they run out during a request, not all code recovers, other libraries included, and
/// a token that is issued only once could be lost.
void requireDescriptors();

}  // namespace tool
