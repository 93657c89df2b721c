#include "vantorel/service/Error.h"
#include "vantorel/service/UniqueFd.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace vantorel {
namespace {

bool IsOpen(int fd) {
    return ::fcntl(fd, F_GETFD) != -1;
}

TEST(Error, ComparesByNumberAndSpeaksThePlatformsTexts) {
    EXPECT_EQ(Error(ENOENT), Error(ENOENT));
    EXPECT_FALSE(Error(ENOENT) == Error(EINVAL));
    EXPECT_EQ(Error(ENOENT).ToString(), std::strerror(ENOENT));
    EXPECT_EQ(Error(123456).ToString(), "Unknown error 123456");
    EXPECT_EQ(Error(-7).ToString(), "Unknown error -7");
}

TEST(UniqueFd, ClosesWhatItOwnsOnceAndKeepsErrno) {
    int raw = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    {
        UniqueFd first(raw);
        UniqueFd second(std::move(first));
        EXPECT_EQ(first.Get(), -1);
        EXPECT_TRUE(IsOpen(raw));
        second = UniqueFd();
        EXPECT_FALSE(IsOpen(raw));
        errno = ENODEV;
    }
    EXPECT_EQ(errno, ENODEV);

    UniqueFd released(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    raw = released.Release();
    released.Reset();
    EXPECT_TRUE(IsOpen(raw));
    ::close(raw);
}

} // namespace
} // namespace vantorel
