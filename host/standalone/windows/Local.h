#pragma once

#include <windows.h>

#include <memory>

namespace standalone::detail {

/// What the system allocates and its caller frees. In a header, since the command needs it as well.
struct LocalRelease {
    void operator()(void* memory) const { ::LocalFree(memory); }
};
template <class T>
using Local = std::unique_ptr<T, LocalRelease>;

}  // namespace standalone::detail
