#include "Vorn35/History.h"

#include <utility>

#include "Vorn/SDK/History/Letter_case.h"

namespace Vorn35 {

History::History(const History& _other)
    : letter_case_(_other.letter_case_ != nullptr ? new Letter_case(*_other.letter_case_) : nullptr) {}

History::~History() {
    clear();
}

History& History::operator=(Letter_case_ _letter_case_) {
    if (_letter_case_ == letter_case_) return *this;
    clear();
    letter_case_ = _letter_case_;
    return *this;
}

History& History::operator=(const History& _other) {
    if (this == &_other) return *this;
    History copy(_other);
    std::swap(letter_case_, copy.letter_case_);
    return *this;
}

THistory_elem<void> History::operator[](unsigned int _index) const {
    THistory_elem<void> elem;
    if (_index >= size()) return elem;
    const Token token = letter_case_->token_vect[_index];
    elem.buffer_ = token.get_data();
    if (const Packet* const pkt = token.get_header_packet()) {
        elem.size = pkt->header.size;
        elem.interval = pkt->header.limit.get_time();
        elem.clock = static_cast<Clock>(pkt->arrival_cpu_clock_counter.time_since_epoch().count());
    }
    return elem;
}

std::size_t History::size() const {
    return letter_case_ != nullptr ? letter_case_->token_vect.size() : 0;
}

void History::clear() {
    delete std::exchange(letter_case_, nullptr);
}

}  // namespace Vorn35
