include(HeaderOnly)
header_only(CLI11 CLI11::CLI11 CLI/CLI.hpp)
