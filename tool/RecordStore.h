#pragma once

#include "auth/COIDCToken.h"
#include "host/ISecretStore.h"

namespace tool {

/// Where the token of one client at one provider is kept.
using RecordStore = ISecretStore<auth::COIDCToken>;

}  // namespace tool
