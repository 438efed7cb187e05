#pragma once

#include <string>

// bytes as a JSON string literal, quotes included. Valid UTF-8 passes through; control
// characters, '"' and '\' are escaped, and every byte that is not part of a valid UTF-8
// sequence becomes \u00XX of that byte, so any parameter text yields valid JSON.
std::string jsonString(const std::string &bytes);
