#include "tests/support/Variable.h"

#include <windows.h>

#include <utility>

test::Variable::Variable(std::string name, const std::string& value) : m_name(std::move(name)) {
    ::SetEnvironmentVariableA(m_name.c_str(), value.c_str());
}

test::Variable::~Variable() {
    ::SetEnvironmentVariableA(m_name.c_str(), nullptr);
}
