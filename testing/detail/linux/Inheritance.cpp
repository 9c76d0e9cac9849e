#include "testing/detail/Inheritance.h"

#include <fcntl.h>

void auth::testing::detail::keepFromChildren(
    boost::asio::ip::tcp::socket::native_handle_type socket) {
    ::fcntl(socket, F_SETFD, FD_CLOEXEC);
}
