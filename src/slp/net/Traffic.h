#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string_view>

namespace slp::net {

enum class Fate { kSent, kReceived, kDropped };

/// `kind` is the short name of the message in RFC 2608, section 4.3 ("SrvRqst"), or "unknown"; it lives for ever and
/// ends with a zero byte. Called by any thread, several at once, with no lock held. Must return soon and not throw.
using TrafficCounter = std::function<void(Fate fate, const char* kind)>;

/// Who is told of each message from now on; empty: nobody, as at first. When this returns, the one before is called no
/// more, but for one that replaces itself; two that do so at once wait for one another for ever. Safe for every thread.
void setTrafficCounter(TrafficCounter counter);

/// Tells the counter, if there is one, of a message; its kind is read from its first two bytes, whatever they are.
void countMessage(Fate fate, std::span<const std::byte> message) noexcept;
void countMessage(Fate fate, std::string_view message) noexcept;

}  // namespace slp::net
