#include "program.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <sys/wait.h>
#include <unistd.h>

namespace {

std::atomic<int> FoldersMade = 0;

} // namespace

Folder::Folder()
    : m_path(std::filesystem::temp_directory_path() /
             ("orbel-test-" + std::to_string(getpid()) + "-" + std::to_string(FoldersMade++))) {
    std::filesystem::create_directories(m_path);
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string Folder::Write(const std::string& name, std::string_view contents) const {
    std::ofstream(Path(name), std::ios::binary) << contents;
    return Path(name);
}

std::string Folder::Read(const std::string& name) const {
    std::ostringstream contents;
    contents << std::ifstream(Path(name), std::ios::binary).rdbuf();
    return contents.str();
}

Outcome RunProgram(const Folder& folder, std::string_view input, const std::string& behind, const std::string& before) {
    folder.Write("stdin", input);
    const std::string command = "cd '" + folder.Path("") + "' && { " + before + " '" ORBEL_PROGRAM "' " + behind +
                                "; } < stdin > stdout 2> stderr";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, folder.Read("stdout"), folder.Read("stderr")};
}
