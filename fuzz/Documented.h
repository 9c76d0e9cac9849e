#pragma once

#include <exception>
#include <typeinfo>

namespace fuzz {

/// Whether the action completes. It may throw exactly these types of exceptions, which the
/// interface promises; any other one ends the process, and is a finding. Derived types do not
/// count: a string's std::out_of_range is not an intended std::logic_error.
template <class... Types, class Action>
bool completes(const Action& action) {
    try {
        action();
        return true;
    } catch (const std::exception& error) {
        if ((... || (typeid(error) == typeid(Types)))) {
            return false;
        }
        throw;
    }
}

}  // namespace fuzz
