#pragma once

#include <string>

// Reads text as a whole decimal number within [min, max]; false (value untouched) otherwise.
bool parseNumberArgument(const std::string &text, long min, long max, long &value);
