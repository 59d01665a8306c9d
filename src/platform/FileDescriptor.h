#pragma once

#include <utility>

#include <unistd.h>

namespace kestrel {

// Owns one file descriptor; -1 means none.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : m_descriptor(descriptor) {}
    FileDescriptor(FileDescriptor &&other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        if (this != &other) {
            reset();
            m_descriptor = std::exchange(other.m_descriptor, -1);
        }
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const { return m_descriptor; }
    explicit operator bool() const { return m_descriptor >= 0; }
    void reset()
    {
        if (m_descriptor >= 0)
            ::close(std::exchange(m_descriptor, -1));
    }
    // Gives up the descriptor; the caller closes it, and sees what close() reports.
    int release() { return std::exchange(m_descriptor, -1); }

private:
    int m_descriptor = -1;
};

} // namespace kestrel
