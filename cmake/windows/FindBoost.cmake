include(HeaderOnly)
# Asio wants Boost.Regex, which would have to be linked, for functions that nobody calls.
header_only(Boost Boost::headers boost/asio.hpp BOOST_ASIO_DISABLE_BOOST_REGEX)
