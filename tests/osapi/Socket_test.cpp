#include "osapi/Log.h"
#include "osapi/Socket6.h"
#include "tests/support/Faults.hpp"
#include "tests/support/LogCapture.hpp"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace {

using test::kOs;
using test::Lines;
using test::os_failure;

/** Size that gethostname was given for the name of this host, which is said to be localhost. */
std::size_t g_host_name_size = 0;

int localhost(char *name, std::size_t size)
{
    g_host_name_size = size;
    std::strcpy(name, "localhost");
    return 0;
}

template <class Address>
Address own_address(int descriptor)
{
    const test::Aside aside;
    Address address = {};
    socklen_t length = sizeof address;
    EXPECT_EQ(getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &length), 0);
    return address;
}

/** Room for an int and for the record of SO_LINGER. */
using Value = std::array<int, 2>;

Value platform_value(int descriptor, int level, int name)
{
    Value value = {};
    socklen_t size = sizeof value;
    EXPECT_EQ(getsockopt(descriptor, level, name, &value, &size), 0);
    return value;
}

bool has_ipv6()
{
    const int descriptor = socket(AF_INET6, SOCK_DGRAM, 0);
    close(descriptor);
    return descriptor >= 0;
}

class Socket : public testing::Test
{
protected:
    Socket() { ZOVOsapiLog_setBitmaps(ZOV_OSAPI_LOG_SUBMODULE_SOCKET, 0x3); }

    ~Socket() override
    {
        for (const int descriptor : m_open)
            close(descriptor);
    }

    int open(int kind)
    {
        m_open.push_back(ZOVOsapiSocket_create(kind));
        EXPECT_GE(m_open.back(), 0) << kind;
        return m_open.back();
    }

    /** A datagram socket on a loopback port. */
    int open_bound(sockaddr_in &address)
    {
        const int descriptor = open(0);
        EXPECT_NE(ZOVOsapiSocket_bindWithIP(descriptor, &address, INADDR_LOOPBACK, 0), 0);
        address = own_address<sockaddr_in>(descriptor);
        return descriptor;
    }

    /** The lines since the last call. */
    void expect_reported(const Lines &lines) { EXPECT_EQ(m_log.take(), lines); }

private:
    test::LogCapture m_log;
    std::vector<int> m_open;
};

TEST_F(Socket, KindsGiveFamilyTypeAndCloseOnExec)
{
    constexpr int kKinds[][3] = {{0, 2, 2}, {1, 2, 1},   {2, 2, 2},
                                 {3, 2, 1}, {16, 10, 2}, {17, 10, 1}};
    for (const auto &[kind, family, type] : kKinds) {
        if (family == AF_INET6 && !has_ipv6())
            continue;
        const int descriptor = open(kind);
        EXPECT_EQ(platform_value(descriptor, SOL_SOCKET, SO_DOMAIN)[0], family) << kind;
        EXPECT_EQ(platform_value(descriptor, SOL_SOCKET, SO_TYPE)[0], type) << kind;
        EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC) << kind;
    }
    expect_reported({});
    for (const int kind : {-1, 4, 15, 18}) {
        EXPECT_EQ(ZOVOsapiSocket_create(kind), -1) << kind;
        expect_reported({"ZOVOsapiSocket_create:!precondition\n"});
    }
    EXPECT_EQ(ZOVOsapiSocket_addressFamilyFromKind(1), 2);
    EXPECT_EQ(ZOVOsapiSocket_addressFamilyFromKind(2), 10);
    EXPECT_EQ(ZOVOsapiSocket_addressFamilyFromKind(3), 0);
    expect_reported({"ZOVOsapiSocket_addressFamilyFromKind:!family not supported\n"});
}

TEST_F(Socket, CloseOnExecSparesDescriptorZero)
{
    const int saved = fcntl(0, F_DUPFD_CLOEXEC, 3);
    close(0);
    const int descriptor = ZOVOsapiSocket_create(0);
    const int flags = fcntl(0, F_GETFD);
    dup2(saved, 0);
    close(saved);
    EXPECT_EQ(descriptor, 0);
    EXPECT_EQ(flags, 0);
    expect_reported({});
}

TEST_F(Socket, OptionsAreWhatThePlatformCallsThem)
{
    struct Case
    {
        std::vector<int> kinds;
        std::uint32_t bit;
        int level, name;
        Value from, to;
        std::int32_t size = sizeof(int);
    };
    const int loopback = static_cast<int>(htonl(INADDR_LOOPBACK));
    const int interface = static_cast<int>(if_nametoindex("lo"));
    const Case cases[] = {
        {{0, 16}, 0x1, 1, 2, {0}, {1}},         {{0, 16}, 0x2, 1, 7, {20000}, {30000}},
        {{0, 16}, 0x4, 1, 8, {20000}, {30000}}, {{0}, 0x20, 0, 33, {1}, {7}},
        {{16}, 0x20, 41, 18, {1}, {7}},         {{0}, 0x40, 0, 32, {0}, {loopback}},
        {{16}, 0x40, 41, 17, {0}, {interface}}, {{0}, 0x80, 0, 34, {1}, {0}},
        {{16}, 0x80, 41, 19, {1}, {0}},         {{1, 17}, 0x200, 6, 1, {0}, {1}},
        {{0, 16}, 0x400, 1, 6, {0}, {1}},       {{1, 17}, 0x800, 1, 13, {0, 0}, {1, 3}, 8},
        {{0}, 0x1000, 0, 1, {0}, {0x10}},       {{16}, 0x1000, 41, 67, {0}, {0x10}},
        {{16}, 0x2000, 41, 26, {0}, {1}},       {{0, 16}, 0x4000, 1, 11, {0}, {1}},
    };
    for (const Case &c : cases)
        for (const int kind : c.kinds) {
            const bool is_ipv6 = kind >= ZOV_OSAPI_SOCKET_KIND_DATAGRAM6;
            if (is_ipv6 && !has_ipv6())
                continue;
            SCOPED_TRACE(testing::Message() << "bit " << c.bit << " of kind " << kind);
            const int reference = open(kind);
            const int subject = open(kind);
            const auto size = static_cast<socklen_t>(c.size);
            ASSERT_EQ(setsockopt(reference, c.level, c.name, &c.to, size), 0);
            ASSERT_EQ(setsockopt(subject, c.level, c.name, &c.from, size), 0);
            const Value expected = platform_value(reference, c.level, c.name);
            ASSERT_NE(platform_value(subject, c.level, c.name), expected);
            const auto set = is_ipv6 ? ZOVOsapiSocket6_setOption : ZOVOsapiSocket_setOption;
            EXPECT_EQ(set(subject, c.bit, &c.to, c.size), 0);
            EXPECT_EQ(platform_value(subject, c.level, c.name), expected);
            Value read = {};
            std::int32_t length = sizeof read;
            errno = EIO;
            if (!is_ipv6) {
                EXPECT_EQ(ZOVOsapiSocket_getOption(subject, c.bit, &read, &length), 0);
                EXPECT_EQ(errno, 0);
                EXPECT_EQ(length, c.size);
                EXPECT_EQ(read, expected);
            }
        }
    expect_reported({});
}

// What one way joins, the other must be able to leave: the platform cannot be asked for groups.
TEST_F(Socket, GroupsAreJoinedAndLeft)
{
    const ip_mreq group4 = {{htonl(0xEFFF004D)}, {htonl(INADDR_LOOPBACK)}};
    const int socket4 = open(0);
    EXPECT_EQ(ZOVOsapiSocket_setOption(socket4, 0x10, &group4, sizeof group4), 0);
    EXPECT_EQ(setsockopt(socket4, 0, 36, &group4, sizeof group4), 0);
    EXPECT_EQ(setsockopt(socket4, 0, 35, &group4, sizeof group4), 0);
    EXPECT_EQ(ZOVOsapiSocket_setOption(socket4, 0x8, &group4, sizeof group4), 0);
    EXPECT_EQ(setsockopt(socket4, 0, 36, &group4, sizeof group4), -1);
    expect_reported({});

    sockaddr_in6 group = {};
    group.sin6_family = AF_INET;
    for (const auto operation : {ZOVOsapiSocket_multicastAdd, ZOVOsapiSocket_multicastDrop}) {
        EXPECT_EQ(operation(socket4, &group, 0), -1);
        expect_reported({"ZOVOsapiSocket_multicastAdd:!bad address family\n"});
    }
    if (!has_ipv6())
        GTEST_SKIP() << "the kernel has no IPv6";
    group.sin6_family = AF_INET6;
    inet_pton(AF_INET6, "ff02::4d", &group.sin6_addr);
    const ipv6_mreq group6 = {group.sin6_addr, if_nametoindex("lo")};
    const int socket6 = open(16);
    EXPECT_EQ(ZOVOsapiSocket_multicastAdd(socket6, &group, group6.ipv6mr_interface), 0);
    EXPECT_EQ(setsockopt(socket6, 41, 21, &group6, sizeof group6), 0);
    EXPECT_EQ(setsockopt(socket6, 41, 20, &group6, sizeof group6), 0);
    EXPECT_EQ(ZOVOsapiSocket_multicastDrop(socket6, &group, group6.ipv6mr_interface), 0);
    EXPECT_EQ(setsockopt(socket6, 41, 21, &group6, sizeof group6), -1);
    expect_reported({});
}

TEST_F(Socket, BitsThatAreNoOptionsAreReported)
{
    const int descriptor = open(0);
    std::int32_t value = 1;
    std::int32_t length = sizeof value;
    const std::pair<std::uint32_t, std::int32_t> unmapped[] = {
        {0x0, 1},     {0x0, 2},    {0x3, 1},        {0x3, 2}, {0x10000, 1},
        {0x10000, 2}, {0x2000, 1}, {0x80000000, 1}, {0x1, 3}};
    for (const auto &[bit, family] : unmapped) {
        EXPECT_EQ(ZOVOsapiSocket46_setOption(descriptor, bit, &value, length, family), -1);
        expect_reported({"ZOVOsapiSocket46_setOption:!precondition\n"});
    }
    for (const auto set : {ZOVOsapiSocket_setOption, ZOVOsapiSocket6_setOption}) {
        EXPECT_EQ(set(descriptor, 0x8000, &value, length), -1004);
        expect_reported(
            {test::warning("ZOVOsapiSocket46_setOption:!Exclusive address use not supported\n")});
    }
    EXPECT_EQ(ZOVOsapiSocket_getOption(descriptor, 0x8000, &value, &length), -1004);
    expect_reported(
        {test::warning("ZOVOsapiSocket_getOption:!Exclusive address use not supported\n")});
    EXPECT_EQ(ZOVOsapiSocket_getOption(descriptor, 0x2000, &value, &length), -1);
    expect_reported({"ZOVOsapiSocket_getOption:!precondition\n"});
}

TEST_F(Socket, BlockingModeIsAFlagOfTheDescriptor)
{
    using Set = std::int32_t (*)(std::int32_t, std::int32_t);
    const Set ways[] = {
        ZOVOsapiSocket_setBlocking,
        [](int socket, int value) { return ZOVOsapiSocket_setOption(socket, 0x100, &value, 4); },
        [](int socket, int value) { return ZOVOsapiSocket6_setOption(socket, 0x100, &value, 4); },
    };
    const int descriptor = open(1);
    for (const Set set : ways) {
        for (const std::int32_t blocking : {0, 0, 1, 1}) {
            EXPECT_EQ(set(descriptor, blocking), 0);
            EXPECT_EQ(fcntl(descriptor, F_GETFL), blocking == 1 ? O_RDWR : O_RDWR | O_NONBLOCK);
            std::int32_t read = 77;
            std::int32_t length = sizeof read;
            EXPECT_EQ(ZOVOsapiSocket_getOption(descriptor, 0x100, &read, &length), 0);
            EXPECT_EQ(read, blocking);
        }
        EXPECT_EQ(set(descriptor, 2), -1);
        expect_reported({"ZOVOsapiSocket_setBlocking:!precondition\n"});
    }
    std::int16_t narrow = 0;
    std::int32_t length = sizeof narrow;
    EXPECT_EQ(ZOVOsapiSocket_setOption(descriptor, 0x100, &narrow, length), -1);
    EXPECT_EQ(ZOVOsapiSocket_getOption(descriptor, 0x100, &narrow, &length), -1);
    expect_reported(
        {"ZOVOsapiSocket46_setOption:!precondition\n", "ZOVOsapiSocket_getOption:!precondition\n"});
}

/** Binds to the loopback interface where there is room. Returns what the platform has it bound to.
 */
template <class Address, class Ip>
Address bound(int socket, Address &address, int (*bind)(int, Address *, int),
              int (*bind_with_ip)(int, Address *, Ip, int), Ip ip)
{
    EXPECT_EQ(bind(socket, nullptr, 0), 0);
    EXPECT_EQ(bind(socket, &address, -1), 0);
    const int port = bind_with_ip(socket, &address, ip, 0);
    auto &its_port = reinterpret_cast<sockaddr_in &>(address).sin_port; // the same place in both
    EXPECT_NE(port, 0);
    EXPECT_EQ(std::exchange(its_port, htons(static_cast<in_port_t>(port))), 0);
    const auto bound = own_address<Address>(socket);
    EXPECT_EQ(std::memcmp(&bound, &address, sizeof address), 0);
    return bound;
}

TEST_F(Socket, BindGivesThePortOfThePlatform)
{
    sockaddr_in address = {};
    const auto first = bound<sockaddr_in, uint32_t>(open(0), address, ZOVOsapiSocket_bind,
                                                    ZOVOsapiSocket_bindWithIP, INADDR_LOOPBACK);
    EXPECT_EQ(first.sin_addr.s_addr, htonl(0x7F000001));
    const std::int32_t port = ntohs(first.sin_port);
    const int second = open(0);
    EXPECT_EQ(ZOVOsapiSocket_bindWithIP(second, &address, INADDR_LOOPBACK, port), 0) << "in use";
    EXPECT_EQ(ZOVOsapiSocket_bind(second, &address, port), 0);
    expect_reported({});
    const test::Fault fault("getsockname 1");
    EXPECT_EQ(ZOVOsapiSocket_bind(second, &address, 0x10000), 0) << "a port of 16 bits: any";
    EXPECT_EQ(ZOVOsapiSocket_bind(-1, &address, 0), 0);
    expect_reported({os_failure("ZOVOsapiSocket_bindWithIP", "getsockname"),
                     os_failure("ZOVOsapiSocket_bindWithIP", "bind", EBADF)});
    if (!has_ipv6())
        GTEST_SKIP() << "the kernel has no IPv6";
    sockaddr_in6 address6 = {};
    const auto third = bound<sockaddr_in6, const in6_addr *>(
        open(16), address6, ZOVOsapiSocket6_bind, ZOVOsapiSocket6_bindWithIP, &in6addr_loopback);
    EXPECT_TRUE(IN6_IS_ADDR_LOOPBACK(&third.sin6_addr));
    EXPECT_EQ(ZOVOsapiSocket6_bind(-1, &address6, ntohs(third.sin6_port)), 0);
    EXPECT_EQ(address6.sin6_port, third.sin6_port);
    EXPECT_TRUE(IN6_IS_ADDR_UNSPECIFIED(&address6.sin6_addr));
    expect_reported({os_failure("ZOVOsapiSocket6_bindWithIP", "bind", EBADF)});
}

TEST_F(Socket, ResolverGivesFourBytesAndZeroForSuccess)
{
    const test::Replacement replaced(test::instead::gethostname, localhost);
    std::array<std::uint8_t, 6> address = {};
    for (const char *name : {"localhost", "127.0.0.1", static_cast<const char *>(nullptr)}) {
        address.fill(0xEE);
        EXPECT_EQ(ZOVOsapiSocket_getHostByName(&address, name), 0);
        EXPECT_EQ(address, (std::array<std::uint8_t, 6>{127, 0, 0, 1, 0xEE, 0xEE}));
    }
    EXPECT_EQ(g_host_name_size, 63u);
    expect_reported({});
}

TEST_F(Socket, DatagramsTravelWithTheirSenderAndAShortOneIsAWarning)
{
    sockaddr_in sender = {};
    sockaddr_in receiver = {};
    const int from = open_bound(sender);
    const int to = open_bound(receiver);
    EXPECT_EQ(ZOVOsapiSocket_sendTo(from, "hello", 5, reinterpret_cast<sockaddr *>(&receiver),
                                    sizeof receiver),
              5);
    int waiting = 0;
    EXPECT_EQ(ZOVOsapiSocket_ioctl(to, FIONREAD, &waiting), 0);
    EXPECT_EQ(waiting, 5);
    char data[16] = {};
    sockaddr_storage source = {};
    std::uint32_t length = sizeof source;
    EXPECT_EQ(ZOVOsapiSocket_recvFrom(to, data, sizeof data, reinterpret_cast<sockaddr *>(&source),
                                      &length),
              5);
    EXPECT_STREQ(data, "hello");
    EXPECT_EQ(length, sizeof sender);
    EXPECT_EQ(std::memcmp(&source, &sender, sizeof sender), 0);
    expect_reported({});
    const test::Replacement shortened(
        test::instead::sendto,
        +[](int, const void *, std::size_t, int, const sockaddr *, socklen_t) -> ssize_t {
            return 4;
        });
    errno = 0;
    EXPECT_EQ(ZOVOsapiSocket_sendTo(-1, "hello", 5, nullptr, 0), 4);
    expect_reported({test::warning(os_failure("ZOVOsapiSocket_sendTo", "sendto", 0))});
}

TEST_F(Socket, MessagesAreGatheredAndSentOnEverySocketOfAList)
{
    sockaddr_in destination = {};
    sockaddr_in source = {};
    const int to = open_bound(destination);
    const int a = open_bound(source);
    const int b = open_bound(source);
    char text[] = "Hello, world";
    ZOVOsapiSocketGatherBuffer pieces[ZOV_OSAPI_SOCKET_GATHER_MAX + 1] = {{5, text}, {77, text}};
    EXPECT_EQ(ZOVOsapiSocketGatherBuffer_init(&pieces[1]), 1);
    EXPECT_EQ(pieces[1].length, 0u);
    ZOVOsapiSocketGatherBuffer_finalize(&pieces[0]); // which changes nothing
    pieces[2] = {1, text + 5};
    pieces[ZOV_OSAPI_SOCKET_GATHER_MAX - 1] = {6, text + 6};
    const auto send = [&](const std::vector<std::int32_t> &sockets, std::int32_t count) {
        return ZOVOsapiSocket_sendMessageN(
            sockets.data(), static_cast<std::int32_t>(sockets.size()), pieces, count,
            reinterpret_cast<sockaddr *>(&destination), sizeof destination);
    };
    const auto expect_received = [to](const Lines &messages) {
        for (const std::string &message : messages) {
            char data[64] = {};
            EXPECT_EQ(recv(to, data, sizeof data, 0), static_cast<ssize_t>(message.size()));
            EXPECT_EQ(data, message);
        }
    };
    EXPECT_EQ(send({}, 64), 0);
    EXPECT_EQ(send({-1, -1}, 64), 0);
    EXPECT_EQ(send({a, b}, 3), 6);
    expect_received({"Hello,", "Hello,"});
    expect_reported({});
    EXPECT_EQ(send({a, -1, -2, b, -1}, 64), 12);
    expect_received({text, text});
    EXPECT_EQ(send({a, -2}, 1), -1);
    expect_received({"Hello"});
    expect_reported(
        Lines(2, test::warning(os_failure("ZOVOsapiSocket_sendMessageN", "sendmsg", EBADF))));
    for (const std::int32_t count : {-1, 65}) {
        EXPECT_EQ(send({a}, count), -1);
        expect_reported({"ZOVOsapiSocket_sendMessageN:!precondition\n"});
    }
    char data[1];
    EXPECT_EQ(recv(to, data, sizeof data, MSG_DONTWAIT), -1) << "nothing else was sent";
    EXPECT_EQ(ZOVOsapiSocket_ignore_port_unreachable_on_receive(), 0);
}

/** Every operation that calls the platform, on a bound socket, and what it returns. */
std::string results_of_all(int socket)
{
    std::string results;
    const auto note = [&](std::int32_t result) { results += " " + std::to_string(result); };
    std::int32_t value = 1;
    std::int32_t length = sizeof value;
    const int created = ZOVOsapiSocket_create(0);
    note(created < 0 ? created : close(created));
    note(ZOVOsapiSocket_getOption(socket, 0x1, &value, &length));
    note(ZOVOsapiSocket_getOption(socket, 0x100, &value, &length));
    note(ZOVOsapiSocket_setOption(socket, 0x1, &value, sizeof value));
    note(ZOVOsapiSocket_setBlocking(socket, 0));
    auto own = own_address<sockaddr_in>(socket);
    auto *address = reinterpret_cast<sockaddr *>(&own);
    char text[] = "hello";
    const ZOVOsapiSocketGatherBuffer piece = {5, text};
    const std::int32_t both[] = {socket, socket};
    note(ZOVOsapiSocket_sendMessageN(both, 2, &piece, 1, address, sizeof own));
    note(ZOVOsapiSocket_sendTo(socket, text, 5, address, sizeof own));
    note(ZOVOsapiSocket_recvFrom(socket, text, 5, nullptr, nullptr));
    const test::Replacement replaced(test::instead::gethostname, localhost);
    note(ZOVOsapiSocket_getHostByName(&value, nullptr));
    return results;
}

TEST_F(Socket, EveryPlatformFailureIsReported)
{
    sockaddr_in address = {};
    const int socket = open_bound(address);
    const auto error = [](const char *results, const std::string &operation,
                          const std::string &what = kOs) {
        return test::Expected{results, {"ZOVOsapiSocket" + operation + ":" + what + "\n"}};
    };
    const auto warns = [](const char *results, const std::string &operation) {
        return test::Expected{results,
                              {test::warning("ZOVOsapiSocket_" + operation + ":" + kOs + "\n")}};
    };
    const char *clean = " 0 0 0 0 0 5 5 5 0";
    const std::string no_flag =
        test::warning(os_failure("ZOVOsapiSocket_create", "fcntl(FD_CLOEXEC)"));
    test::for_each_fault(
        [socket] { return results_of_all(socket); }, {clean},
        {{"socket 1", error(" -1 0 0 0 0 5 5 5 0", "_create")},
         {"fcntl 1", {{clean, {no_flag}}}},
         {"getsockopt 1", error(" 0 -1 0 0 0 5 5 5 0", "_getOption")},
         {"fcntl 2", error(" 0 0 -1 0 0 5 5 5 0", "_getOption")},
         {"setsockopt 1", error(" 0 0 0 -1 0 5 5 5 0", "46_setOption")},
         {"fcntl", error(" 0 0 0 0 -1 5 5 5 0", "_setBlocking")},
         {"sendmsg 1", warns(clean, "sendMessageN")}, // the result is that of the last socket
         {"sendmsg 2", warns(" 0 0 0 0 0 -1 5 5 0", "sendMessageN")},
         {"sendto 1", warns(" 0 0 0 0 0 5 -1 5 0", "sendTo")},
         {"recvfrom 1", error(" 0 0 0 0 0 5 5 -1 0", "_recvFrom")},
         {"gethostname 1", error(" 0 0 0 0 0 5 5 5 -1", "_getHostByName")},
         {"gethostbyname 1",
          error(" 0 0 0 0 0 5 5 5 -1", "_getHostByName",
                "resolver gethostbyname() failure, error 0X1: Unknown host, name localhost")}});
}

} // namespace
