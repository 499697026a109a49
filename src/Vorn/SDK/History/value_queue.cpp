#include "Vorn/SDK/History/value_queue.h"

#include <algorithm>
#include <cstring>

#include "Vorn/counters.h"
#include "Vorn35/vorn_error.h"

namespace Vorn35 {

void Value_queue::push(Token _token, std::size_t _keep) {
    safe_add_ref_token(_token);
    history.push_front(_token);
    while (history.size() > _keep) {
        history.back().free();
        history.pop_back();
    }
}

Letter_case_ Value_queue::snapshot(std::size_t _size) const {
    auto* const letter_case = new Letter_case;
    const std::size_t count = std::min(_size, history.size());
    for (std::size_t i = 0; i < count; ++i) letter_case->append(history[i]);
    return letter_case;
}

void Value_queue::clear() {
    while (!history.empty()) {
        history.back().free();
        history.pop_back();
    }
}

Error read_newest(Letter_case_ _letter_case_, void* _data_, Pksize* _size_) {
    const History history(_letter_case_);
    if (history.empty()) return VORN_ERR_EMPTY_HISTORY_;
    const THistory_elem<void> newest = history[0];
    if (newest.size > *_size_) counters::count(counters::Counter::values_cut);
    if (newest.size < *_size_) *_size_ = newest.size;
    if (*_size_ != 0) std::memcpy(_data_, newest.buffer_, *_size_);
    return VORN_ERR_NONE_;
}

}  // namespace Vorn35
