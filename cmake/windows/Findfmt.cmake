include(HeaderOnly)
header_only(fmt fmt::fmt fmt/format.h FMT_HEADER_ONLY)
