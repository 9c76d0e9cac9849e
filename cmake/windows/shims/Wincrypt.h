// Windows does not care about capital letters in this name; mingw-w64 on Linux has none.
#include <wincrypt.h>
