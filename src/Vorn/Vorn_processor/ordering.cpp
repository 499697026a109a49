/// Which messages run one at a time.

#include "Vorn/Vorn_processor/Vorn_processor.h"
#include "Vorn/Vorn_processor/object_lock.h"
#include "Vorn35/vorn_serial_parallel.h"

namespace Vorn35 {

namespace {

/// Drops the messages of a queue whose last key was removed. A thread that drains it finds it empty.
void discard(class_thread_qbuffer* _qbuffer) {
    const Lock_guard lock(_qbuffer->m_lock);
    for (qtoken_t& queued : *_qbuffer) drop_queued(&queued);
    _qbuffer->clear();
}

}  // namespace

void Vorn_processor::msg_processing_by_parallel(Msg_addr _a) {
    const auto found = qbuffer_map.find(_a);
    if (found == qbuffer_map.end()) return;
    if (--found->second->m_ref == 0) discard(found->second.get());
    qbuffer_map.erase(found);
}

void Vorn_processor::msg_processing_by_serial_alone(Msg_addr _a) {
    std::shared_ptr<class_thread_qbuffer>& qbuffer = qbuffer_map[_a];
    if (qbuffer != nullptr && qbuffer->m_ref == 1) return;
    if (qbuffer != nullptr) --qbuffer->m_ref;
    qbuffer = std::make_shared<class_thread_qbuffer>();
}

void Vorn_processor::msg_processing_by_serial_group(Msg_addr _a, Msg_addr _b) {
    const auto of_a = qbuffer_map.find(_a);
    const auto of_b = qbuffer_map.find(_b);
    const bool has_a = of_a != qbuffer_map.end();
    const bool has_b = of_b != qbuffer_map.end();
    if (has_a && has_b) {
        if (of_a->second == of_b->second) return;
        ++of_a->second->m_ref;
        if (--of_b->second->m_ref == 0) discard(of_b->second.get());
        of_b->second = of_a->second;
    } else if (has_a) {
        ++of_a->second->m_ref;
        qbuffer_map[_b] = of_a->second;
    } else if (has_b) {
        ++of_b->second->m_ref;
        qbuffer_map[_a] = of_b->second;
    } else {
        auto qbuffer = std::make_shared<class_thread_qbuffer>();
        if (_a != _b) qbuffer->m_ref = 2;
        qbuffer_map[_a] = qbuffer;
        qbuffer_map[_b] = std::move(qbuffer);
    }
}

std::shared_ptr<class_thread_qbuffer> Vorn_processor::qbuffering(Msg_addr _msg_addr, Token _token,
                                                                 [[maybe_unused]] Packet* _pkt_, void* _object_) {
    const auto found = qbuffer_map.find(_msg_addr);
    if (found == qbuffer_map.end()) return nullptr;
    const Lock_guard lock(found->second->m_lock);
    safe_add_ref_token(_token);
    found->second->emplace_back(_object_, _token);
    return found->second;
}

void msg_processing_by_parallel(Msg_addr _a) {
    const Exclusive_hold hold;
    if (gp_processor != nullptr) gp_processor->msg_processing_by_parallel(_a);
}

void msg_processing_by_serial_alone(Msg_addr _a) {
    const Exclusive_hold hold;
    if (gp_processor != nullptr) gp_processor->msg_processing_by_serial_alone(_a);
}

void msg_processing_by_serial_group(Msg_addr _a, Msg_addr _b) {
    const Exclusive_hold hold;
    if (gp_processor != nullptr) gp_processor->msg_processing_by_serial_group(_a, _b);
}

}  // namespace Vorn35
