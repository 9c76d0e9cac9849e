include(HeaderOnly)
# Asio asks for Boost.Regex, which has to be linked, for functions that nobody calls.
header_only(Boost Boost::headers boost/asio.hpp BOOST_ASIO_DISABLE_BOOST_REGEX)
