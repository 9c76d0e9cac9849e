include(HeaderOnly)
header_only(tomlplusplus tomlplusplus::tomlplusplus toml++/toml.h)
