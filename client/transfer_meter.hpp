// How far contents have moved, told to who shows it.
#pragma once

#include <cstdint>
#include <utility>

namespace quillon {

class TransferMeter {
public:
    virtual ~TransferMeter() = default;
    // One more content is going to move; bytes: 0 where nobody knows.
    virtual void expect(uint64_t bytes) = 0;
    virtual void expectNoMore() = 0;  // all of them are known
    virtual void countDone() = 0;     // one that was expected, however it ended
    // Since it was told last; less than none where what moved has to move again.
    virtual void move(int64_t bytes) = 0;
};

// Is expected as long as it lives.
class ExpectedTransfer {
public:
    ExpectedTransfer() = default;
    // meter: null for none.
    ExpectedTransfer(TransferMeter* meter, uint64_t bytes) : meter_(meter) {
        if (meter_) meter_->expect(bytes);
    }
    ExpectedTransfer(ExpectedTransfer&& other) noexcept
        : meter_(std::exchange(other.meter_, nullptr)) {}
    ExpectedTransfer& operator=(ExpectedTransfer&& other) noexcept {
        std::swap(meter_, other.meter_);
        return *this;
    }
    ~ExpectedTransfer() {
        if (meter_) meter_->countDone();
    }

    bool isTold() const { return meter_ != nullptr; }

private:
    TransferMeter* meter_ = nullptr;
};

}  // namespace quillon
