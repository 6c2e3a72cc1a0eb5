// Owns a file descriptor.
#pragma once

namespace desktop {

class Descriptor {
public:
    /// @param number  what a system call returned
    /// @param what    for the error's text: "no socket to be had"
    /// @throws std::system_error with errno when the number is negative
    Descriptor(int number, char const* what);
    ~Descriptor();
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;

    int number() const { return number_; }

private:
    int number_;
};

}  // namespace desktop
