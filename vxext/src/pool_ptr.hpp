// Memory of the extension's pool, freed at the end of a scope unless handed over.
#pragma once

#include "host/pool.h"
#include "runtime/wipe.hpp"

namespace vx {

// Uninitialised room for count values; null: no memory, or a size beyond 64 bits.
template <class T>
T* squillonAlloc(Pool* pool, uint64_t count) {
    uint64_t bytes;
    if (__builtin_mul_overflow(count, sizeof(T), &bytes)) return nullptr;
    return static_cast<T*>(pool->Alloc(pool, bytes, POOL_PLAIN));
}

// One zero-filled record; null: no memory.
template <class T>
T* squillonAllocRecord(Pool* pool) {
    return static_cast<T*>(pool->Alloc(pool, sizeof(T), POOL_ZEROED));
}

// Frees what a field points to, and clears the field, so that a release accepts a half-built
// record.
template <class T>
void squillonFree(Pool* pool, T*& block) {
    if (!block) return;
    pool->Free(pool, block);
    block = nullptr;
}

// The same for a UTF-32 text that may be a password or hold one, as URLs do: overwritten before it
// is freed.
inline void squillonFreeSecret(Pool* pool, char32_t*& text, uint64_t characters) {
    if (text) squillonWipe(text, characters * sizeof(char32_t));
    squillonFree(pool, text);
}

template <class T>
class [[nodiscard]] PoolPtr {
public:
    PoolPtr(Pool* pool, T* block) : pool_(pool), block_(block) {}
    PoolPtr(const PoolPtr&) = delete;
    PoolPtr& operator=(const PoolPtr&) = delete;
    ~PoolPtr() { squillonFree(pool_, block_); }

    explicit operator bool() const { return block_ != nullptr; }
    T* get() const { return block_; }
    T** address() { return &block_; }

private:
    Pool* pool_;
    T* block_;
};

// A UTF-32 text that may be or hold a password, with the length that its maker stores.
class [[nodiscard]] SecretText {
public:
    explicit SecretText(Pool* pool) : pool_(pool) {}
    SecretText(const SecretText&) = delete;
    SecretText& operator=(const SecretText&) = delete;
    ~SecretText() { squillonFreeSecret(pool_, text_, length_); }

    explicit operator bool() const { return text_ != nullptr; }
    const char32_t* get() const { return text_; }
    uint64_t length() const { return length_; }  // in characters
    char32_t** address() { return &text_; }
    uint64_t* lengthAddress() { return &length_; }
    void lend(const char32_t*& text, uint64_t& length) const {
        text = text_;
        length = length_;
    }

private:
    Pool* pool_;
    char32_t* text_ = nullptr;
    uint64_t length_ = 0;
};

}  // namespace vx
