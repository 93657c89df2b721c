#pragma once

#include "tests/support/PrivateRoot.h"
#include "tests/support/ScriptedSys.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vantorel::test {

/**
 * Writes down what is done about images, loop devices and mounts, none of which a test can have for
 * real, in one list with the programs that run meanwhile. Files and directories are real; what is
 * in a mount point when it is unmounted is written down and goes.
 */
class StorageSteps {
public:
    explicit StorageSteps(const PrivateRoot& privateRoot) : root(privateRoot) {
        sys->Waitpid = [this](pid_t child, int* status, int options) {
            const pid_t result = ::waitpid(child, status, options);
            steps.push_back(root.Calls().back());
            return result;
        };
        sys->Open = [this](const char* path, int flags, unsigned mode) {
            const bool loop = std::string(path).starts_with("/dev/loop");
            if (Step(std::string("open ") + path) < 0) {
                return -1;
            }
            const int fd = ::open(loop ? "/dev/null" : path, flags, mode);
            names[fd] = path;
            return fd;
        };
        sys->Close = [this](int fd) {
            steps.push_back("close " + names[fd]);
            return ::close(fd);
        };
        sys->Ioctl = [this](int fd, unsigned long request, void* argument) {
            if (request == LOOP_CTL_GET_FREE) {
                return Step("find a loop device with " + names[fd]) < 0 ? -1 : nextLoop++;
            }
            const int image = static_cast<int>(reinterpret_cast<std::intptr_t>(argument));
            return request == LOOP_SET_FD ? Step("attach " + names[image] + " to " + names[fd])
                                          : FailWith(ENOTTY);
        };
        sys->Mkdir = [this](const char* path, mode_t mode) {
            return Step(std::string("mkdir ") + path) < 0 ? -1 : ::mkdir(path, mode);
        };
        sys->Rmdir = [this](const char* path) {
            return Step(std::string("rmdir ") + path) < 0 ? -1 : ::rmdir(path);
        };
        sys->Mount = [this](const char* source, const char* target, const char* type,
                            unsigned long flags, const void*) {
            return Step(std::string("mount ") + source + " " + target + " " + type +
                        (flags == MS_RDONLY ? " ro"
                         : flags == 0       ? " rw"
                                            : " ?"));
        };
        sys->Umount = [this](const char* target) { return Umount(target); };
    }

    std::vector<std::string> Take() { return std::exchange(steps, {}); }
    /** Lets the steps fail that begin with this. */
    void Fail(const std::string& step) { failing = step; }

    ScopedSys sys;

private:
    int Step(const std::string& step) {
        steps.push_back(step);
        return !failing.empty() && step.starts_with(failing) ? FailWith(EPERM) : 0;
    }

    int Umount(const std::string& target) {
        std::string step = "umount " + target;
        for (const auto& entry : std::filesystem::directory_iterator(target)) {
            step += " with " + entry.path().filename().string() + ": " + ReadFile(entry.path());
            std::filesystem::remove(entry.path());
        }
        return Step(step);
    }

    const PrivateRoot& root;
    std::vector<std::string> steps;
    std::map<int, std::string> names;
    std::string failing;
    int nextLoop = 3;
};

} // namespace vantorel::test
