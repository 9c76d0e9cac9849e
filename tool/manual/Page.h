#pragma once

#include "tool/manual/Description.h"
#include "tool/manual/PageText.h"

#include <string>

namespace manual {

/// The version and date shown on a page; the date may be empty.
struct Edition {
    std::string version;
    std::string date;
};

/// The manual page of the command.
std::string pageOf(const Description& command, const PageText& text, const Edition& edition);
/// The page of one of its subcommands.
std::string pageOf(const Description& command, const Description& subcommand, const PageText& text,
                   const Edition& edition);

}  // namespace manual
