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

// Adds the machine's candidate adapters and their addresses to the table. True if at least one address was
// added; false also if sockets cannot be started or the adapter list cannot be read. Any thread may call.
[[nodiscard]] bool SelectMacAddress(CandidateTable& table);

// Like SelectMacAddress, from a given list. This function and those below need started sockets.
[[nodiscard]] bool AddCandidates(const Sockets& sockets, const _IP_ADAPTER_ADDRESSES_LH* list,
                                 CandidateTable& table);

// Reads the adapter list. Returns false on failure.
[[nodiscard]] bool LoadAdapterAddresses(AdapterListPtr& list);

// Returns the IPv6 mask of a prefix length in bits as numeric text; an empty text above 128.
[[nodiscard]] std::string PrefixLengthToMaskText(const Sockets& sockets, unsigned length);

// Finds mask and network, in dotted form, of the interface with this IPv4 address. Returns false if it is not
// among the first ten interfaces.
[[nodiscard]] bool GetIPv4MaskAndNetwork(const Sockets& sockets, std::string_view address, std::string& mask,
                                         std::string& network);

}  // namespace varnel
