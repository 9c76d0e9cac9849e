#include "tool/Environment.h"

#include "host/standalone/windows/Variable.h"
#include "tool/windows/Text.h"

namespace tool {

std::optional<std::string> readVariable(const std::string& name) {
    const auto value = standalone::detail::wideVariable(wide(name));
    return value ? std::make_optional(utf8(*value)) : std::nullopt;
}

}  // namespace tool
