#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

/// What the library takes from a network at most. Everything that a stranger can make larger has its bound here.
namespace slp::limits {

using namespace std::chrono_literals;

// Messages

/// The largest datagram of UDP over IPv4; more cannot arrive.
inline constexpr std::size_t kMaxDatagram = 65'507;
/// A message over TCP: 65,535 URLs of a usual length, or the longest attribute list many times over.
inline constexpr std::size_t kMaxMessage = 8 * 1024 * 1024;
/// What a stranger may send us over TCP: a request or registration has at most six strings of 65,535 bytes.
inline constexpr std::size_t kMaxRequest = 6 * 65'536;
/// Longer language tags are nobody's: RFC 1766 allows eight letters a part, and nobody uses more than four parts.
inline constexpr std::size_t kMaxLanguageTag = 64;
/// The chain of extensions ends here: none that is in use needs more than two.
inline constexpr std::size_t kMaxExtensions = 8;
/// Authentication blocks of one URL or list. None is verified; each is walked.
inline constexpr std::size_t kMaxAuthBlocks = 16;

// Texts

/// The longest string: a length field of two bytes holds no more (RFC 2608, section 4.1).
inline constexpr std::size_t kMaxText = 65'535;
/// Elements of a list of scopes, tags or service types that are looked at.
inline constexpr std::size_t kMaxListElements = 4'096;
/// Addresses of a list of previous responders that are looked at: twice what fits a datagram of 1,400 bytes.
inline constexpr std::size_t kMaxPreviousResponders = 256;
/// Depth of a search filter. Deeper ones are only written by those who look for the end of a stack.
inline constexpr std::size_t kMaxFilterDepth = 16;
/// Comparisons in a search filter, each of which costs a walk over the attributes of every registration.
inline constexpr std::size_t kMaxFilterTerms = 128;
/// Wildcards in one comparison: they are matched without backtracking, and this bounds the pieces.
inline constexpr std::size_t kMaxWildcards = 32;
/// Values that are read from one attribute list for filters; what is beyond them is kept, but no filter sees it.
inline constexpr std::size_t kMaxAttributeValues = 4'096;

// The agent

/// Registrations of this process. Enough for ten thousand services in several languages.
inline constexpr std::size_t kMaxOwnRegistrations = 65'536;
/// Registrations of other processes of this machine, or of others where they are allowed, all together and each.
inline constexpr std::size_t kMaxForeignRegistrations = 16'384;
inline constexpr std::size_t kMaxForeignBytes = 64 * 1024 * 1024;
/// Languages in which one URL is registered: they are compared with one another.
inline constexpr std::size_t kMaxLanguagesOfUrl = 16;
/// Parsed attribute lists that are kept for the next filter; others are parsed each time.
inline constexpr std::size_t kMaxParsedAttributes = 32 * 1024 * 1024;
/// TCP connections that are served at once, and from one address; loopback has the whole number.
inline constexpr std::size_t kMaxConnections = 256;
inline constexpr std::size_t kMaxConnectionsPerSource = 16;
/// An idle connection is closed after this: CONFIG_CLOSE_CONN of RFC 2608, section 13.
inline constexpr std::chrono::seconds kConnectionIdle = 300s;
/// A message that has begun must be complete by then, or the connection is closed.
inline constexpr std::chrono::seconds kMessageDeadline = 10s;
/// Bytes of replies that wait for those who do not read, all together; each has one reply waiting at most.
inline constexpr std::size_t kMaxUnsentReplies = 4 * kMaxMessage;
/// The agent answers no longer than this, beyond the message that it has begun with, before it looks at what else there
/// is to do: other sources, changes of this process, its end.
inline constexpr std::chrono::milliseconds kAgentTurn = 10ms;
/// An answer over UDP to a source that is on none of our links is at most this many times its request, because its
/// address may be forged and the answer aimed at somebody else.
inline constexpr std::size_t kMaxAmplification = 3;
/// Datagrams per second from one source beyond loopback that are looked at, the burst that is allowed, and the sources
/// that are told apart. A manager that asks one agent for the attributes of thousands of services stays below.
inline constexpr double kDatagramsPerSecond = 4'000;
inline constexpr double kDatagramBurst = 8'000;
inline constexpr std::size_t kMaxSources = 1'024;
/// An answer that takes longer counts as as many datagrams as there are of these in it, so that one source has a
/// quarter of the agent's time, however costly its requests. Requests over TCP are counted, too, but wait where
/// datagrams are dropped.
inline constexpr std::chrono::nanoseconds kTimeOfDatagram = 62'500ns;
/// Memberships that one agent holds. Thousands of types on machines with many interfaces would want more than a kernel
/// likes to look through for every datagram.
inline constexpr std::size_t kMaxMemberships = 4'096;

// The user agent

/// Services, agents and senders of URLs that a process remembers. The oldest go first.
inline constexpr std::size_t kMaxKnownResponders = 16'384;
inline constexpr std::size_t kMaxKnownSenders = 65'536;
inline constexpr std::size_t kMaxDirectoryAgents = 64;
/// Of a longer URL the sender is not remembered: it is no address that anybody serves.
inline constexpr std::size_t kMaxKnownUrl = 4'096;
/// Bytes of texts in each of the two memories, of responders and of senders: a thousand bytes for each sender.
inline constexpr std::size_t kMaxKnownBytes = 64 * 1024 * 1024;
/// URLs, types or attribute lists that one search hands out, and their bytes: a search keeps what it has handed out, to
/// hand it out once, and sixty thousand of the longest texts would be 4 GiB.
inline constexpr std::size_t kMaxResults = 65'536;
inline constexpr std::size_t kMaxResultBytes = 64 * 1024 * 1024;
/// TCP connections that one search has under way at once: each takes a descriptor of the caller's program.
inline constexpr std::size_t kMaxExchanges = 64;
/// Events that a search looks at in a row before time goes on: what has arrived counts before a wait is over, but a
/// flood must not hold the search.
inline constexpr std::size_t kMaxBacklog = 4'096;
/// Addresses of one host's name that are asked; more only multiply the wait for a host that is off.
inline constexpr std::size_t kMaxAddressesOfHost = 4;
/// Look-ups of cancelled searches that still wait for the resolver. Beyond them none is begun: whoever cancels this
/// often has no resolver.
inline constexpr int kMaxAbandonedLookups = 16;

// Handles

inline constexpr std::size_t kMaxHandles = 4'096;

}  // namespace slp::limits
