// Generates the manual pages and the completion scripts of the command from its own options:
//
//   oidcauth-manual SOURCES FOLDER [DATE]
//
// SOURCES has the hand-written text of the pages, and the scripts around the options.

#include "oidcauth/version.h"
#include "tool/CommandTree.h"
#include "tool/manual/Completions.h"
#include "tool/manual/Page.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace {

using std::filesystem::path;

std::string contentOf(const path& file) {
    std::ifstream input(file);
    std::string text{std::istreambuf_iterator<char>(input), {}};
    if (!input || text.empty()) {
        throw std::runtime_error(file.string() + ": cannot be read");
    }
    return text;
}

void write(const path& file, const std::string& text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream output(file, std::ios::binary);
    if (!(output << text).flush()) {
        throw std::runtime_error(file.string() + ": cannot be written");
    }
}

void writeCompletion(const path& source, const path& target, const std::string& tree) {
    const std::string mark = "@TREE@\n";
    std::string script = contentOf(source);
    const auto at = script.find(mark);
    if (at == std::string::npos) {
        throw std::runtime_error(source.string() + ": has no line @TREE@");
    }
    write(target, script.replace(at, mark.size(), tree));
}

void writeAll(const path& sources, const path& folder, const std::string& date) {
    std::function<void()> ignored;
    const auto app = tool::makeCommandTree({}, ignored);
    const manual::Description command(*app);
    const manual::Edition edition{OIDCAUTH_VERSION, date};
    const auto textOf = [&](const std::string& name) {
        manual::PageText text(sources / "pages" / (name + ".man"));
        text.checkNames(command);
        return text;
    };
    const path pages = folder / "man1";
    write(pages / (command.name + ".1"), pageOf(command, textOf(command.name), edition));
    for (const manual::Description& part : command.subcommands) {
        write(pages / (command.name + '-' + part.name + ".1"),
              pageOf(command, part, textOf(part.name), edition));
    }
    const path scripts = sources / "completion";
    writeCompletion(scripts / "oidcauth.bash", folder / "bash" / "oidcauth", bashTree(command));
    writeCompletion(scripts / "oidcauth.zsh", folder / "zsh" / "_oidcauth", zshTree(command));
    writeCompletion(scripts / "oidcauth.fish", folder / "fish" / "oidcauth.fish",
                    fishTree(command));
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc < 3) {
            throw std::runtime_error("SOURCES and FOLDER are missing");
        }
        writeAll(argv[1], argv[2], argc > 3 ? argv[3] : "");
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "oidcauth-manual: " << error.what() << '\n';
        return 1;
    }
}
