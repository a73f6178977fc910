// The host's interface addresses, from getifaddrs(), in the system's order.
#include <ifaddrs.h>
#include <net/if.h>

#include <cerrno>
#include <cstring>

#include "cairn/frame.h"
#include "cairn/net.h"
#include "net/address.hpp"
#include "platform/alloc.hpp"

using namespace cairn::net;

namespace {

// One allocation per entry: the record, its two addresses and its name.
struct IfEntry {
    ox_ifaddress pub;
    sockaddr_storage addr;
    sockaddr_storage mask;
    char name[IF_NAMESIZE + 1];
};

socklen_t length_of(int family)
{
    return family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
}

IfEntry *make_entry(const ifaddrs *ifa)
{
    auto *e = static_cast<IfEntry *>(cairn::mem_calloc(1, sizeof(IfEntry)));
    if (e == nullptr)
        return nullptr;
    int f = family_of(ifa->ifa_addr);
    std::memcpy(&e->addr, ifa->ifa_addr, length_of(f));
    e->pub.addr = reinterpret_cast<sockaddr *>(&e->addr);
    if (ifa->ifa_netmask != nullptr && family_of(ifa->ifa_netmask) == f) {
        std::memcpy(&e->mask, ifa->ifa_netmask, length_of(f));
        e->pub.netmask = reinterpret_cast<sockaddr *>(&e->mask);
    }
    if (ifa->ifa_name != nullptr)
        std::strncpy(e->name, ifa->ifa_name, IF_NAMESIZE);
    e->pub.name = e->name;
    e->pub.flags = ifa->ifa_flags;
    e->pub.index = ifa->ifa_name ? if_nametoindex(ifa->ifa_name) : 0;
    return e;
}

}  // namespace

extern "C" {

int ox_get_ifaddresses(ox_ifaddress **list)
{
    if (list == nullptr)
        return fail_errno(EINVAL);
    *list = nullptr;
    ifaddrs *all = nullptr;
    if (getifaddrs(&all) != 0)
        return fail_errno(errno);
    ox_ifaddress **tail = list;
    for (const ifaddrs *ifa = all; ifa != nullptr; ifa = ifa->ifa_next) {
        if (ifa->ifa_addr == nullptr || !ox_inet_isafinet(ifa->ifa_addr))
            continue;
        IfEntry *e = make_entry(ifa);
        if (e == nullptr) {
            freeifaddrs(all);
            ox_free_ifaddresses(*list);
            *list = nullptr;
            return -1;  // the allocator set ENOMEM
        }
        *tail = &e->pub;
        tail = &e->pub.next;
    }
    freeifaddrs(all);
    return 0;
}

void ox_free_ifaddresses(ox_ifaddress *list)
{
    while (list != nullptr) {
        ox_ifaddress *next = list->next;
        cairn::mem_free(list);  // pub is the entry's first member
        list = next;
    }
}

int ox_is_myaddress(const sockaddr *addr)
{
    if (addr == nullptr || !ox_inet_isafinet(addr))
        return 0;
    ox_ifaddress *list = nullptr;
    if (ox_get_ifaddresses(&list) != 0)
        return 0;
    int found = 0;
    for (const ox_ifaddress *i = list; i != nullptr && !found; i = i->next)
        found = ox_inet_addrcmp(addr, i->addr) == 0;
    ox_free_ifaddresses(list);
    return found;
}

}  // extern "C"
