#pragma once

#include "tool/Settings.h"

namespace tool {

/// Sets the options that the command line leaves open, from the environment and then from a
/// profile: the one given by --profile or OIDCAUTH_PROFILE, or else the default profile, unless a
/// provider or a client is given. Throws UsageError.
void fillFromSurroundings(SettingsOf& settings);

}  // namespace tool
