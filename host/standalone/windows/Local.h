#pragma once

#include <windows.h>

#include <memory>

namespace standalone::detail {

/// For memory that the system allocates and the caller frees. In a header, because the command
/// needs it, too.
struct LocalRelease {
    void operator()(void* memory) const { ::LocalFree(memory); }
};
template <class T>
using Local = std::unique_ptr<T, LocalRelease>;

}  // namespace standalone::detail
