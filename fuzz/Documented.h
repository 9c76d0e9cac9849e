#pragma once

#include <exception>
#include <typeinfo>

namespace fuzz {

/// Whether the action comes to its end. It may throw exceptions of just these types, which are what
/// the interface promises; another one ends the process, and that is a finding. Derived types do
/// not count: a std::out_of_range of a string is no std::logic_error that somebody meant.
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
