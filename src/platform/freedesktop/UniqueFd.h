#pragma once

#include <utility>

#include <unistd.h>

namespace vantorel {

/// Owns one file descriptor; -1 for none.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : m_fd(fd) { }
    UniqueFd(UniqueFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) { }
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~UniqueFd() { reset(); }

    int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    /// Gives the descriptor to somebody else to own.
    int release() { return std::exchange(m_fd, -1); }
    void reset() {
        if (m_fd >= 0)
            close(m_fd);
        m_fd = -1;
    }

private:
    int m_fd = -1;
};

} // namespace vantorel
