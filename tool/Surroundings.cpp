#include "tool/Surroundings.h"

#include "tool/ClientSecret.h"
#include "tool/ConfigFile.h"
#include "tool/Environment.h"

#include <algorithm>
#include <string>

namespace tool {

namespace {

/// If the environment has the secret itself, other sources of it are dropped.
Layer withoutSecrets(Layer layer) {
    if (!variable(clientSecretVariable).empty()) {
        const auto isSource = [](const Given& given) {
            return given.name.rfind("client-secret-", 0) == 0;
        };
        layer.erase(std::remove_if(layer.begin(), layer.end(), isSource), layer.end());
    }
    return layer;
}

}  // namespace

void fillFromSurroundings(SettingsOf& settings) {
    settings.fill(environmentLayer());
    std::string name = settings.valueOf("profile");
    const bool isIdentified =
        settings.has("config-url") || settings.has("issuer") || settings.has("client-id");
    if (name.empty() && (isIdentified || !settings.takes("profile"))) {
        return;
    }
    const ConfigFile file = ConfigFile::load();
    if (name.empty() && !file.defaultProfile().empty()) {
        name = file.defaultProfile();
        settings.fill({{"profile", {name}, file.defaultSource()}});
    }
    if (!name.empty()) {
        settings.fill(withoutSecrets(file.profile(name)));
    }
}

}  // namespace tool
