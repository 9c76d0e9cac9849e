include(HeaderOnly)
# Debian's spdlog has no fmt of its own.
header_only(spdlog spdlog::spdlog spdlog/spdlog.h SPDLOG_FMT_EXTERNAL FMT_HEADER_ONLY)
