include(HeaderOnly)
# Debian's spdlog does not include fmt.
header_only(spdlog spdlog::spdlog spdlog/spdlog.h SPDLOG_FMT_EXTERNAL FMT_HEADER_ONLY)
