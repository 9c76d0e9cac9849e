#pragma once

#include "tool/Settings.h"

namespace tool {

/// Fills what the command line leaves open from the environment, and then from a profile: that of
/// --profile or OIDCAUTH_PROFILE, or else the default one of the user's file, unless provider or
/// client are given. Throws UsageError.
void fillFromSurroundings(SettingsOf& settings);

}  // namespace tool
