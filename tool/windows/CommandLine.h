#pragma once

#include <string>
#include <vector>

namespace tool {

/// The words as one text that CommandLineToArgvW and the C runtimes split into the same words.
std::wstring commandLine(const std::vector<std::string>& words);

/// The file of a program that is named by a path or found in a folder of PATH; .com, .exe, .bat or
/// .cmd is added if it is missing. Empty if there is none. The current folder is not searched: its
/// files may well be somebody else's.
std::wstring findProgram(const std::string& name);

/// Whether the system would run it with cmd, which splits words by its own rules: no quoting keeps
/// each of them whole.
bool isBatchFile(const std::wstring& file);

}  // namespace tool
