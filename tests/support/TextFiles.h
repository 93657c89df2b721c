#pragma once

#include <set>
#include <string>

namespace vantorel::test {

/**
 * Small files of the device that exist in memory only. As long as one of these lives, C++ streams
 * and setmntent() find nothing else: whatever they open for writing comes into being, whatever else
 * they want to read is not there. Of one thread.
 *
 * For programs that link TextFiles.cpp, and open files too often for a root directory of their own.
 */
class TextFiles {
public:
    TextFiles();
    ~TextFiles();
    TextFiles(const TextFiles&) = delete;
    TextFiles& operator=(const TextFiles&) = delete;

    void Write(const std::string& path, const std::string& content);
    std::string Read(const std::string& path);

    /** A descriptor as open() gives it; -1 and ENOENT for what is not there. */
    int Open(const std::string& path, int flags);

private:
    std::set<std::string> present;
};

} // namespace vantorel::test
