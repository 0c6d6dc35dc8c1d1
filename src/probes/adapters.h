#pragma once

#include "base/malloc_ptr.h"
#include "probes/adapter_table.h"

#include <string>
#include <string_view>

struct _IP_ADAPTER_ADDRESSES_LH;

namespace varnel {

class Sockets;

// Windows' list of adapters, in one block from malloc.
using AdapterListPtr = MallocPtr<_IP_ADAPTER_ADDRESSES_LH>;

// Adds the machine's candidate adapters that have addresses to the table; the caller chooses one of them.
// True if at least one address was added; false also if sockets cannot be started or the adapter list cannot
// be read. Any thread may call. Throws like LoadSystemLibrary.
[[nodiscard]] bool SelectMacAddress(CandidateTable& table);

// Like SelectMacAddress, from a given list. `sockets`, here and below, must be started: StartResult() is 0.
[[nodiscard]] bool AddCandidates(const Sockets& sockets, const _IP_ADAPTER_ADDRESSES_LH* list,
                                 CandidateTable& table);

// Reads the adapter list. Returns false, with `list` unchanged, on failure. Throws like LoadSystemLibrary.
[[nodiscard]] bool LoadAdapterAddresses(AdapterListPtr& list);

// Returns the IPv6 mask of a prefix length in bits as numeric text, not normalised; an empty text above 128.
[[nodiscard]] std::string PrefixLengthToMaskText(const Sockets& sockets, unsigned length);

// Finds mask and network, in dotted form, of the interface with this IPv4 address. Returns false, with both
// texts unchanged, if no interface has it or Windows cannot list the interfaces; the list has room for ten.
[[nodiscard]] bool GetIPv4MaskAndNetwork(const Sockets& sockets, std::string_view address, std::string& mask,
                                         std::string& network);

}  // namespace varnel
