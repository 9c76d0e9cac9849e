// Windows ignores the case of this name; mingw-w64 on Linux does not.
#include <wincrypt.h>
