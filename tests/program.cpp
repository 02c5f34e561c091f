#include "program.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

#include <sys/wait.h>
#include <unistd.h>

Folder::Folder() {
    std::string path = (std::filesystem::temp_directory_path() / "orbel-test-XXXXXX").string();
    // A name of its own: a test that was killed has left its folder behind.
    if (!mkdtemp(path.data())) throw std::system_error(errno, std::generic_category(), path);
    m_path = path;
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
