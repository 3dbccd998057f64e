#include "vorn/net/poll.h"

#include <cerrno>

#include "vorn/net/socket_impl.h"

namespace Vorn {

namespace {

pollfd entry(int descriptor, short events) {
    pollfd result;
    result.fd = descriptor;
    result.events = events;
    result.revents = 0;
    return result;
}

// Timeouts above INT_MAX become negative, which poll reads as "no limit".
int to_timeout(unsigned timeout) { return static_cast<int>(timeout); }

}  // namespace

Poll::Poll() : entries_(1, entry(-1, 0)) {}

Poll::Poll(unsigned timeout) : timeout_(to_timeout(timeout)) {}

Poll::Poll(Event event, unsigned timeout)
    : entries_(1, entry(-1, get_event(event))), timeout_(to_timeout(timeout)) {}

Poll::Poll(Event first, Event second, unsigned timeout)
    : entries_(1, entry(-1, static_cast<short>(get_event(first) | get_event(second)))),
      timeout_(to_timeout(timeout)) {}

short Poll::get_event(Event event) {
    switch (event) {
        case pollin:
            return POLLIN;
        case pollout:
            return POLLOUT;
        case pollerr:
            return POLLERR;
        case pollhup:
            return POLLHUP;
    }
    throw SocketError("Not correct event type");
}

void Poll::add(const Socket& socket, Event event) {
    const short events = get_event(event);
    const int descriptor = socket.get_native_socket();
    for (pollfd& existing : entries_) {
        if (existing.fd == descriptor) {
            existing.events = static_cast<short>(existing.events | events);
            return;
        }
    }
    entries_.push_back(entry(descriptor, events));
}

void Poll::clear() { entries_.clear(); }

bool Poll::wait() {
    if (entries_.empty()) throw SocketError("FD set is empty");
    const int result = ::poll(entries_.data(), entries_.size(), timeout_);
    if (result >= 0) return result >= 1;
    if (errno == EINTR) return false;
    throw SocketError(SocketImpl::describe_errno("poll"));
}

bool Poll::check(const Socket& socket, Event event) const {
    const int descriptor = socket.get_native_socket();
    for (const pollfd& existing : entries_)
        if (existing.fd == descriptor) return (existing.revents & get_event(event)) != 0;
    throw SocketError("socket is not from current FD set");
}

bool Poll::wait(const Socket& socket) {
    if (entries_.size() != 1) throw SocketError("invalid use of deprecated function");
    entries_[0].fd = socket.get_native_socket();
    return wait();
}

bool Poll::check(Event event) const {
    if (entries_.size() != 1) throw SocketError("invalid use of deprecated function");
    return (entries_[0].revents & get_event(event)) != 0;
}

}  // namespace Vorn
