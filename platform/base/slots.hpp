// Records of ours have every slot filled: an operation that nobody named reports its offset and
// aborts, so that a caller's wrong offset is found at once and not by what it breaks.
#pragma once

#include <cstddef>
#include <typeinfo>
#include <utility>

#include "host/abi.h"

namespace vxhost {

[[noreturn]] void reportUnnamedOperation(const char* record, size_t offset) noexcept;

template <class Record, size_t Index>
void unnamedOperation() {
    reportUnnamedOperation(typeid(Record).name(), Index * sizeof(vx::Unnamed));
}

// Called first in the constructor of a record; named slots and fields are set after it.
template <class Record>
void fillSlots(Record& record) {
    auto* slots = reinterpret_cast<vx::Unnamed*>(&record);
    [slots]<size_t... Index>(std::index_sequence<Index...>) {
        ((slots[Index] = &unnamedOperation<Record, Index>), ...);
    }
    (std::make_index_sequence<sizeof(Record) / sizeof(vx::Unnamed)>{});
}

}  // namespace vxhost
