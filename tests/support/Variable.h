#pragma once

#include <string>

namespace test {

/// A variable of this process; the destructor unsets it.
class Variable {
public:
    Variable(std::string name, const std::string& value);
    ~Variable();
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const std::string m_name;
};

}  // namespace test
