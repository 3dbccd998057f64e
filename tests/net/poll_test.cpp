#include "net/poll.h"

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "net_test_util.h"

using namespace Vorn;
using namespace net_test;

namespace {
void ignore_signal(int) {}
}  // namespace

TEST(NetPoll, EventsMapToPollBits) {
    EXPECT_EQ(POLLIN, Poll::get_event(Poll::pollin));
    EXPECT_EQ(POLLOUT, Poll::get_event(Poll::pollout));
    EXPECT_EQ(POLLERR, Poll::get_event(Poll::pollerr));
    EXPECT_EQ(POLLHUP, Poll::get_event(Poll::pollhup));
    expect_error<SocketError>([] { Poll::get_event(Poll::Event(4)); }, "SocketError: Not correct event type");
}

TEST(NetPoll, MisuseThrows) {
    Poll poll(10);
    Socket socket(Socket::UDP);
    socket.listen(endpoint("127.0.0.1", 0));
    expect_error<SocketError>([&] { poll.wait(); }, "SocketError: FD set is empty");
    expect_error<SocketError>([&] { poll.check(socket, Poll::pollin); }, "SocketError: socket is not from current FD set");
    expect_error<SocketError>([&] { poll.wait(socket); }, "SocketError: invalid use of deprecated function");
    expect_error<SocketError>([&] { poll.check(Poll::pollin); }, "SocketError: invalid use of deprecated function");
}

TEST(NetPoll, WaitsForReadableSocketWithinTimeout) {
    Socket receiver(Socket::UDP), sender(Socket::UDP);
    receiver.listen(endpoint("127.0.0.1", 0));
    sender.listen(endpoint("127.0.0.1", 0));
    Poll poll(50);
    poll.add(receiver, Poll::pollerr);
    poll.add(receiver, Poll::pollin);  // OR-ed into the same entry
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(poll.wait());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
    sender.sendto("x", 1, endpoint("127.0.0.1", bound_port(receiver)));
    EXPECT_TRUE(poll.wait());
    EXPECT_TRUE(poll.check(receiver, Poll::pollin));
    poll.clear();
    poll.add(sender, Poll::pollout);
    EXPECT_TRUE(poll.wait());
    EXPECT_TRUE(poll.check(sender, Poll::pollout));
}

TEST(NetPoll, DeprecatedSingleSocketForms) {
    Socket receiver(Socket::UDP), sender(Socket::UDP);
    receiver.listen(endpoint("127.0.0.1", 0));
    sender.listen(endpoint("127.0.0.1", 0));
    sender.sendto("x", 1, endpoint("127.0.0.1", bound_port(receiver)));
    Poll poll(Poll::pollin, Poll::pollerr, 1000);
    EXPECT_TRUE(poll.wait(receiver));
    EXPECT_TRUE(poll.check(Poll::pollin));
    EXPECT_FALSE(poll.check(Poll::pollerr));
    EXPECT_FALSE(Poll().wait(receiver));  // one entry without events, timeout 0
}

TEST(NetPoll, InterruptedWaitReturnsFalse) {
    struct sigaction action {}, previous {};
    action.sa_handler = ignore_signal;
    ASSERT_EQ(0, sigaction(SIGUSR1, &action, &previous));
    Socket socket(Socket::UDP);
    socket.listen(endpoint("127.0.0.1", 0));
    Poll poll(Poll::pollin, 10000);
    std::atomic<bool> done{false};
    const pthread_t waiter = pthread_self();
    std::thread interrupter([&] {  // signal until the wait returns, so that one lands inside poll
        for (; !done; std::this_thread::sleep_for(std::chrono::milliseconds(20))) pthread_kill(waiter, SIGUSR1);
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(poll.wait(socket));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));  // interrupted, not timed out
    done = true;
    interrupter.join();
    sigaction(SIGUSR1, &previous, nullptr);
}
