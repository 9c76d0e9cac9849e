#include "tool/Descriptors.h"

#include "tool/windows/HandleBuffer.h"

#include <fcntl.h>
#include <io.h>

#include <iostream>

namespace tool {

namespace {

/// None where it is closed: its number may come to be that of another one, a file's even.
HANDLE handleOf(DWORD stream) {
    const HANDLE handle = ::GetStdHandle(stream);
    ::SetLastError(NO_ERROR);
    const bool isOpen =
        handle != nullptr && handle != INVALID_HANDLE_VALUE &&
        (::GetFileType(handle) != FILE_TYPE_UNKNOWN || ::GetLastError() == NO_ERROR);
    return isOpen ? handle : nullptr;
}

/// Never destroyed: streams write until the very end.
void writeTo(std::ostream& stream, DWORD number) {
    stream.rdbuf(new HandleBuffer(handleOf(number)));
}

}  // namespace

bool reserveStandardStreams() {
    for (const DWORD stream : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
        if (handleOf(stream) == nullptr) {
            ::SetStdHandle(stream, nullptr);
        }
    }
    _setmode(0, _O_BINARY);
    writeTo(std::cout, STD_OUTPUT_HANDLE);
    writeTo(std::cerr, STD_ERROR_HANDLE);
    return true;
}

/// No write ends a process here.
void surviveFailedWrites() {}

/// A program gets the standard streams, of which none was opened in the place of another.
void restoreInherited() {}

/// A process may have some millions.
void requireDescriptors() {}

}  // namespace tool
