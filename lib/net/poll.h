#pragma once

#include <poll.h>

#include <vector>

#include "vorn/net/socket.h"

namespace Vorn {

// A small wrapper of poll(2) over a set of sockets. Failures throw SocketError.
class Poll {
public:
    enum Event { pollin = 0, pollout = 1, pollerr = 2, pollhup = 3 };

    Poll();                                                  // one entry without descriptor, timeout 0
    explicit Poll(unsigned timeout);                         // empty set
    Poll(Event event, unsigned timeout);                     // one entry (-1, event)
    Poll(Event first, Event second, unsigned timeout);       // one entry (-1, both events)

    void add(const Socket& socket, Event event);
    void clear();  // the timeout stays

    // Polls every entry for at most the timeout (milliseconds); true when at
    // least one is ready, false on timeout or on an interrupted call.
    bool wait();
    bool check(const Socket& socket, Event event) const;

    static short get_event(Event event);

    // Deprecated single-socket forms: the set must hold exactly one entry.
    bool wait(const Socket& socket);
    bool check(Event event) const;

private:
    std::vector<pollfd> entries_;
    int timeout_ = 0;
};

}  // namespace Vorn
