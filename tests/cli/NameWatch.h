#pragma once

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <string>

#include "foundation/FileSystem.h"

namespace nookery::testing {

/// Waits, without looking again and again, for names to come into a folder or leave it.
class NameWatch {
  public:
    explicit NameWatch(const Path& folder, std::uint32_t events = IN_CREATE | IN_MOVED_TO)
        : descriptor_(::inotify_init1(IN_CLOEXEC)) {
        EXPECT_GE(::inotify_add_watch(descriptor_, folder.c_str(), events), 0);
    }
    ~NameWatch() { ::close(descriptor_); }
    NameWatch(const NameWatch&) = delete;
    NameWatch& operator=(const NameWatch&) = delete;

    /// For so many events.
    void waitFor(std::size_t count) const {
        std::size_t seen = 0;
        readUntil([&](const std::string&) { return ++seen >= count; });
    }
    /// For an event of this name.
    void waitFor(const std::string& name) const {
        readUntil([&](const std::string& each) { return each == name; });
    }

  private:
    template <typename Done>
    void readUntil(Done done) const {
        alignas(inotify_event) std::array<char, 65536> buffer{};
        for (bool isDone = false; !isDone;) {
            const ssize_t length = ::read(descriptor_, buffer.data(), buffer.size());
            ASSERT_GT(length, 0);
            for (ssize_t at = 0; at < length;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
                isDone |= done(event->len > 0 ? event->name : "");
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            }
        }
    }

    int descriptor_;
};

}  // namespace nookery::testing
