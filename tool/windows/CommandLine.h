#pragma once

#include <string>
#include <vector>

namespace tool {

/// The words as one text, of which CommandLineToArgvW and the C runtimes make the same words.
std::wstring commandLine(const std::vector<std::string>& words);

/// The file of a program that is named by a path, or lies in a folder of PATH; with .exe or .com
/// behind the name where that is left out. Empty: there is none. The current folder is not
/// searched: what lies there is as often somebody else's.
std::wstring findProgram(const std::string& name);

/// Whether the system would have it run by cmd, which takes the words apart by rules of its own:
/// no quoting keeps each of them whole.
bool isBatchFile(const std::wstring& file);

}  // namespace tool
