#include "tests/support/Variable.h"

#include <cstdlib>
#include <utility>

test::Variable::Variable(std::string name, const std::string& value) : m_name(std::move(name)) {
    ::setenv(m_name.c_str(), value.c_str(), 1);
}

test::Variable::~Variable() {
    ::unsetenv(m_name.c_str());
}
