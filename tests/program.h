#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// A temporary folder for the files of a test, removed by the destructor.
class Folder {
public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    /// Writes a file and returns its path.
    std::string Write(const std::string& name, std::string_view contents) const;
    std::string Read(const std::string& name) const;
    std::string Path(const std::string& name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

struct Outcome {
    int status;
    std::string output;
    std::string errors;
};

/// Runs the calculator in the folder through a shell: `before` precedes its name, `behind` follows it.
Outcome RunProgram(const Folder& folder, std::string_view input, const std::string& behind = "",
                   const std::string& before = "");
