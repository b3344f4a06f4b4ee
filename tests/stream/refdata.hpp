// Published reference outputs of the basic generators (integer outputs, generation order).
#pragma once
#include <cstdint>
#include <vector>

// MRG32K3A from the all-12345 seed: outputs 1..5 and 98..100; the state (x oldest first, then y)
// after 100 steps, and after 2^127 and 2^128 steps.
inline const std::vector<uint32_t> kMrgFirst = {545508589u, 1368065410u, 1327943761u, 3546985096u, 951893194u};
inline const std::vector<uint32_t> kMrgLast = {177135894u, 1309481774u, 3260904806u};
inline const std::vector<uint32_t> kMrgState100 = {1819035667u, 3047838441u, 3146405460u, 1641899773u, 1738356667u, 4180467741u};
inline const std::vector<uint32_t> kMrgState2p127 = {3692455944u, 1366884236u, 2968912127u, 335948734u, 4161675175u, 475798818u};
inline const std::vector<uint32_t> kMrgState2p128 = {1015873554u, 1310354410u, 2249465273u, 994084013u, 2912484720u, 3876682925u};

// MCG31M1 and MCG59 from the seed 1: outputs 1..5 and 16..20.
inline const std::vector<uint64_t> kMcg31 = {1u, 1132489760u, 826537482u, 289798557u, 480863449u,
                                             650347998u, 1918607382u, 2085354693u, 1261383659u, 1816347431u};
inline const std::vector<uint64_t> kMcg59 = {1ull, 302875106592253ull, 458357793578900489ull, 130117127544889829ull,
                                             214028503895537745ull, 396675003622872981ull, 116006781627709249ull,
                                             507865369105473597ull, 200387164012465481ull, 284668264715980325ull};
