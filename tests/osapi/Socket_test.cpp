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
    const auto verify = [this](const Case &c, int kind, auto set) {
        SCOPED_TRACE(testing::Message() << "bit " << c.bit << " of kind " << kind);
        const int reference = open(kind);
        const int subject = open(kind);
        const auto size = static_cast<socklen_t>(c.size);
        ASSERT_EQ(setsockopt(reference, c.level, c.name, &c.to, size), 0);
        ASSERT_EQ(setsockopt(subject, c.level, c.name, &c.from, size), 0);
        const Value expected = platform_value(reference, c.level, c.name);
        ASSERT_NE(platform_value(subject, c.level, c.name), expected);
        EXPECT_EQ(set(subject, c.bit, &c.to, c.size), 0);
        EXPECT_EQ(platform_value(subject, c.level, c.name), expected);
        if (kind >= ZOV_OSAPI_SOCKET_KIND_DATAGRAM6)
            return;
        Value read = {};
        std::int32_t length = sizeof read;
        errno = EIO;
        EXPECT_EQ(ZOVOsapiSocket_getOption(subject, c.bit, &read, &length), 0);
        EXPECT_EQ(errno, 0);
        EXPECT_EQ(length, c.size);
        EXPECT_EQ(read, expected);
    };
    for (const Case &c : cases) {
        for (const int kind : c.kinds) {
            if (kind < ZOV_OSAPI_SOCKET_KIND_DATAGRAM6)
                verify(c, kind, ZOVOsapiSocket_setOption);
            else if (has_ipv6())
                verify(c, kind, ZOVOsapiSocket6_setOption);
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
    constexpr std::uint32_t kUnmapped[][2] = {{0x0, 1},    {0x0, 2},        {0x3, 1},
                                              {0x3, 2},    {0x10000, 1},    {0x10000, 2},
                                              {0x2000, 1}, {0x80000000, 1}, {0x1, 3}};
    const int descriptor = open(0);
    std::int32_t value = 1;
    std::int32_t length = sizeof value;
    for (const auto &[bit, family] : kUnmapped) {
        EXPECT_EQ(ZOVOsapiSocket46_setOption(descriptor, bit, &value, length,
                                             static_cast<std::int32_t>(family)),
                  -1);
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

TEST_F(Socket, BindGivesThePortOfThePlatform)
{
    const int first = open(0);
    const int second = open(0);
    sockaddr_in address = {};
    EXPECT_EQ(ZOVOsapiSocket_bind(first, nullptr, 0), 0);
    EXPECT_EQ(ZOVOsapiSocket_bind(first, &address, -1), 0);
    const std::int32_t port = ZOVOsapiSocket_bindWithIP(first, &address, INADDR_LOOPBACK, 0);
    EXPECT_NE(port, 0);
    EXPECT_EQ(address.sin_port, 0);
    address.sin_port = htons(static_cast<in_port_t>(port));
    const auto bound = own_address<sockaddr_in>(first);
    EXPECT_EQ(std::memcmp(&bound, &address, sizeof address), 0);
    EXPECT_EQ(bound.sin_addr.s_addr, htonl(0x7F000001));
    EXPECT_EQ(ZOVOsapiSocket_bindWithIP(second, &address, INADDR_LOOPBACK, port), 0) << "in use";
    EXPECT_EQ(ZOVOsapiSocket_bind(second, &address, port), 0);
    expect_reported({});
    const test::Fault fault("getsockname 1");
    EXPECT_EQ(ZOVOsapiSocket_bind(second, &address, 0x10000), 0) << "a port of 16 bits: any";
    EXPECT_EQ(ZOVOsapiSocket_bind(-1, &address, 0), 0);
    expect_reported({os_failure("ZOVOsapiSocket_bindWithIP", "getsockname"),
                     os_failure("ZOVOsapiSocket_bindWithIP", "bind", EBADF)});
}

TEST_F(Socket, BindOfIpv6GivesThePortOfThePlatform)
{
    if (!has_ipv6())
        GTEST_SKIP() << "the kernel has no IPv6";
    const int socket = open(16);
    sockaddr_in6 address = {};
    EXPECT_EQ(ZOVOsapiSocket6_bind(socket, nullptr, 0), 0);
    EXPECT_EQ(ZOVOsapiSocket6_bind(socket, &address, -1), 0);
    const auto port = ZOVOsapiSocket6_bindWithIP(socket, &address, &in6addr_loopback, 0);
    EXPECT_NE(port, 0);
    address.sin6_port = htons(static_cast<in_port_t>(port));
    const auto bound = own_address<sockaddr_in6>(socket);
    EXPECT_EQ(std::memcmp(&bound, &address, sizeof address), 0);
    EXPECT_TRUE(IN6_IS_ADDR_LOOPBACK(&bound.sin6_addr));
    EXPECT_EQ(ZOVOsapiSocket6_bind(-1, &address, port), 0);
    EXPECT_EQ(address.sin6_port, bound.sin6_port);
    EXPECT_TRUE(IN6_IS_ADDR_UNSPECIFIED(&address.sin6_addr));
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

TEST_F(Socket, DatagramsTravelWithTheirSender)
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
}

TEST_F(Socket, ShortSendIsAWarning)
{
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
}

int g_socket = -1;

/** An operation as it is, and with each of its platform calls failing. */
struct Operation
{
    struct Failure
    {
        const char *call;
        const char *result;
        bool is_warning = false;
        std::string line = kOs;
    };

    const char *name;
    std::string (*run)();
    const char *clean;
    std::vector<Failure> failures;
};

const Operation kOperations[] = {
    {"create",
     []() -> std::string {
         const int descriptor = ZOVOsapiSocket_create(0);
         return descriptor >= 0 ? close(descriptor), "descriptor" : "none";
     },
     "descriptor",
     {{"socket 1", "none"},
      {"fcntl 1", "descriptor", true,
       "OS fcntl(FD_CLOEXEC)() failure, error 0X1: Operation not permitted"}}},
    {"getOption",
     [] {
         std::int32_t value[2] = {};
         std::int32_t length = sizeof *value;
         const auto first = ZOVOsapiSocket_getOption(g_socket, 0x1, &value[0], &length);
         const auto second = ZOVOsapiSocket_getOption(g_socket, 0x100, &value[1], &length);
         return std::to_string(first) + " " + std::to_string(second);
     },
     "0 0",
     {{"getsockopt 1", "-1 0"}, {"fcntl 1", "0 -1"}}},
    {"46_setOption",
     [] {
         const std::int32_t value = 1;
         return std::to_string(ZOVOsapiSocket_setOption(g_socket, 0x1, &value, sizeof value));
     },
     "0",
     {{"setsockopt 1", "-1"}}},
    {"setBlocking",
     [] { return std::to_string(ZOVOsapiSocket_setBlocking(g_socket, 0)); },
     "0",
     {{"fcntl", "-1"}}},
    {"sendTo",
     [] {
         const auto own = own_address<sockaddr_in>(g_socket);
         const auto *address = reinterpret_cast<const sockaddr *>(&own);
         return std::to_string(ZOVOsapiSocket_sendTo(g_socket, "hello", 5, address, sizeof own));
     },
     "5",
     {{"sendto 1", "-1", true}}},
    {"recvFrom",
     [] {
         const test::Replacement received(
             test::instead::recvfrom,
             +[](int, void *, std::size_t, int, sockaddr *, socklen_t *) -> ssize_t { return 5; });
         char data[8];
         return std::to_string(ZOVOsapiSocket_recvFrom(g_socket, data, 8, nullptr, nullptr));
     },
     "5",
     {{"recvfrom 1", "-1"}}},
    {"sendMessageN",
     [] {
         auto own = own_address<sockaddr_in>(g_socket);
         char text[] = "hello";
         const ZOVOsapiSocketGatherBuffer piece = {5, text};
         const std::int32_t both[] = {g_socket, g_socket};
         return std::to_string(ZOVOsapiSocket_sendMessageN(
             both, 2, &piece, 1, reinterpret_cast<sockaddr *>(&own), sizeof own));
     },
     "5", // the result is that of the last socket
     {{"sendmsg 1", "5", true}, {"sendmsg 2", "-1", true}}},
    {"getHostByName",
     [] {
         const test::Replacement replaced(test::instead::gethostname, localhost);
         std::uint32_t address = 0;
         return std::to_string(ZOVOsapiSocket_getHostByName(&address, nullptr));
     },
     "0",
     {{"gethostname 1", "-1"},
      {"gethostbyname 1", "-1", false,
       "resolver gethostbyname() failure, error 0X1: Unknown host, name localhost"}}},
};

TEST_F(Socket, EveryPlatformFailureIsReported)
{
    sockaddr_in address = {};
    g_socket = open_bound(address);
    for (const auto &[name, run, clean, failures] : kOperations) {
        test::Faults faults;
        for (const auto &[call, result, is_warning, what] : failures) {
            const std::string line = std::string("ZOVOsapiSocket") + (name[0] == '4' ? "" : "_") +
                                     name + ":" + what + "\n";
            faults[call] = {result, {is_warning ? test::warning(line) : line}};
        }
        SCOPED_TRACE(name);
        test::for_each_fault(run, {clean}, faults);
    }
}

} // namespace
