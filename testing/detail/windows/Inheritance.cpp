#include "testing/detail/Inheritance.h"

#include <windows.h>

void auth::testing::detail::keepFromChildren(
    boost::asio::ip::tcp::socket::native_handle_type socket) {
    const SOCKET handle = socket;
    ::SetHandleInformation(reinterpret_cast<HANDLE>(handle), HANDLE_FLAG_INHERIT, 0);
}
