#pragma once

#include "base/malloc_ptr.h"
#include "probes/adapter_table.h"

#include <string>
#include <string_view>

struct _IP_ADAPTER_ADDRESSES_LH;

namespace varnel {

class Sockets;

// As the system describes its adapters: a list inside one block of memory. Memory is from the runtime's heap.
using AdapterListPtr = MallocPtr<_IP_ADAPTER_ADDRESSES_LH>;

// Adds every candidate adapter of the machine with its addresses to the table. True when at least one address
// was added; false also when sockets or the adapter list cannot be had. Starts and cleans up sockets and
// loads the IP Helper library itself; any thread.
[[nodiscard]] bool SelectMacAddress(CandidateTable& table);

// The same from a list that has been fetched. Sockets must be started here and below.
[[nodiscard]] bool AddCandidates(const Sockets& sockets, const _IP_ADAPTER_ADDRESSES_LH* list,
                                 CandidateTable& table);

// The system's adapter list, or false when it cannot be had.
[[nodiscard]] bool LoadAdapterAddresses(AdapterListPtr& list);

// The IPv6 mask of a prefix length in bits, as numeric text; empty above 128.
[[nodiscard]] std::string PrefixLengthToMaskText(const Sockets& sockets, unsigned length);

// Mask and network of the interface that has this IPv4 address, in dotted form. False when there is none
// among the first ten.
[[nodiscard]] bool GetIPv4MaskAndNetwork(const Sockets& sockets, std::string_view address, std::string& mask,
                                         std::string& network);

}  // namespace varnel
