// `History`: each handle holds its messages by references of its own.

#include "Vorn35/History.h"

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>

#include "Vorn/SDK/History/Letter_case.h"

using namespace Vorn35;

namespace {

class History_test : public testing::Test {
protected:
    History_test() { initialize_memory(); }
    ~History_test() override { finalize_memory(); }

    /// A snapshot as `see_history` makes one, of messages that nobody else holds. An empty text: no data
    /// block.
    static Letter_case_ snapshot(std::initializer_list<const char*> _texts) {
        auto* const letters = new Letter_case;
        for (const char* text : _texts) {
            Token token;
            token.alloc_header_force();
            Packet* const pkt = token.get_header_packet();
            pkt->initialize_packet(c_loopback_ip, ks_clock_t(std::chrono::nanoseconds(42)), 0.5);
            const auto size = static_cast<Pksize>(std::strlen(text));
            pkt->initialize_header(size, 0, EMsg::information_tcp, 0, 0);
            if (size != 0) {
                EXPECT_EQ(token.alloc_data(size), 0);
                std::memcpy(token.get_data(), text, size);
            }
            letters->append(token);
            token.free();
        }
        return letters;
    }
    static std::string text(const THistory_elem<void>& _elem) {
        return {static_cast<const char*>(_elem.buffer_), _elem.size};
    }
    static std::size_t live_blocks() { return gp_memory->allocs.size(); }
};

TEST_F(History_test, ElementsShowTheMessages) {
    History history;
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(!history && history.empty() && history[0].buffer_ == nullptr && history[0].size == 0);
        history.clear();
    }
    Letter_case_ letters = snapshot({"first", ""});
    letters->token_vect[1].get_header_packet()->set_data_size(7);  // and no data block
    history = letters;
    ASSERT_EQ(history.size(), 2U);
    EXPECT_EQ(text(history[0]), "first");
    EXPECT_EQ(history[0].interval, 0.5);
    EXPECT_EQ(history[0].clock, 42U);
    EXPECT_EQ(history[1].buffer_, nullptr);
    EXPECT_EQ(history[1].size, 7U);
    EXPECT_EQ(history[2].buffer_, nullptr);
    const History none = snapshot({});
    EXPECT_TRUE(none && none.empty());
    history = History();
    EXPECT_FALSE(history);
    EXPECT_EQ(live_blocks(), 0U);
}

TEST_F(History_test, EachHandleGivesBackItsOwn) {
    History first = snapshot({"one", "two"});
    History second = first;
    EXPECT_EQ(live_blocks(), 4U);
    second.clear();
    EXPECT_EQ(text(first[1]), "two");

    second = snapshot({"old"});
    second = first;
    EXPECT_EQ(live_blocks(), 4U);
    first.clear();
    const History& self = second;
    second = self;
    EXPECT_EQ(text(second[0]), "one");
    second = snapshot({"new"});
    EXPECT_EQ(live_blocks(), 2U);

    finalize_memory();  // a handle outlives the runtime, and may still be copied
    first = second;
    second.clear();
    EXPECT_EQ(text(first[0]), "new");
}

}  // namespace
