// Links, alike for all kinds that have them: asked for in every form, refused, ended by either end, lost.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Links : public Runtime {
protected:
    /// Both ends of a kind, what goes over the link, and what is kept of it.
    template <class Service, class Client>
    struct Pair {
        Service& service;
        Client& client;

        static constexpr bool c_from_service = requires(Service & _service) { _service.put(""); };

        Error put(const std::string& _text) {
            if constexpr (c_from_service) return service.put(_text);
            if constexpr (!c_from_service) return client.put(_text);
        }
        Log& log() { return c_from_service ? client.log : service.log; }
        void expect_newest(const std::string& _text) {
            std::string newest = _text;
            if constexpr (requires { client.newest(); }) newest = client.newest();
            if constexpr (requires { service.newest(Addr()); }) newest = service.newest(client.self());
            EXPECT_EQ(newest, _text);
        }
    };
    template <class Service, class Client>
    Pair<Service, Client> pair() {
        return {make<Service>(), make<Client>()};
    }

    template <class Service, class Client, class... Form>
    void every_form(Form... _form) {
        auto both = pair<Service, Client>();
        Service& service = both.service;
        Client& client = both.client;
        EXPECT_EQ(both.put("early"), VORN_ERR_IS_NOT_CREATED_);
        client.connect(service.open());
        EXPECT_EQ(both.put("nobody"), 0);
        for (const bool plain : {false, true}) {
            const auto link = [&] {
                return plain ? client.await_link(&service.gate, _form...) : client.link(_form...);
            };
            service.decision = c_refusal;
            EXPECT_EQ(link(), "link 77");
            EXPECT_FALSE(client.is_linked());
            EXPECT_EQ(both.put("refused"), 0);
            service.decision = 0;
            EXPECT_EQ(link(), "link 0");
            EXPECT_TRUE(client.is_linked());
            Msg_num num = 0;
            EXPECT_EQ(client.delegate_link(&num, _form..., 1), VORN_ERR_ALREADY_CONNECTED_);
            EXPECT_EQ(client.await_link_return(client.async_link(_form..., 1), nullptr), VORN_ERR_ALREADY_CONNECTED_);
            both.expect_newest("VORN_ERR_EMPTY_HISTORY_");
            for (const char* const text : {"one", ""}) {
                EXPECT_EQ(both.put(text), 0);
                EXPECT_EQ(both.log().take(), std::string("value ") + text);
                both.expect_newest(text);
            }

            client.unlink();
            EXPECT_FALSE(client.is_linked());
            EXPECT_EQ(service.log.take(), "unlink 0");
            both.expect_newest("VORN_ERR_EMPTY_HISTORY_");
            client.unlink();
            EXPECT_EQ(link(), "link 0");
            plain ? service.unlink(client.self()) : service.unlink_all_proxy();
            EXPECT_EQ(client.log.take(), "unlink 0");
            EXPECT_FALSE(client.is_linked());
            service.unlink(client.self());
        }
        EXPECT_EQ(both.put("late"), 0);
        EXPECT_EQ(client.link(_form...), "link 0");
        both.put("last");
        EXPECT_EQ(both.log().take(), "value last");
        EXPECT_TRUE(service.log.empty()) << "an end that the service asked for is not told to it";
        client.unlink();
        EXPECT_EQ(service.log.take(), "unlink 0");
    }

    template <class Service, class Client, class... Form>
    void lost(Form... _form) {
        auto both = pair<Service, Client>();
        Service& service = both.service;
        Client& client = both.client;
        client.connect(service.open());
        EXPECT_EQ(client.await_link(&service.gate, _form...), "link 0");
        both.put("old");
        EXPECT_EQ(both.log().take(), "value old");
        client.lose_connection();
        for (Log* const log : {&client.log, &service.log}) {
            EXPECT_EQ(log->take(), "unlink VORN_ERR_DISCONNECTED_TCP_");
            EXPECT_EQ(log->take(), "disconnect");
        }
        EXPECT_FALSE(client.is_linked());
        both.expect_newest("VORN_ERR_EMPTY_HISTORY_");
        both.put("nobody");
        EXPECT_EQ(client.link(_form...), "link 0");
        both.put("new");
        EXPECT_EQ(both.log().take(), "value new");
        client.unlink();
        EXPECT_EQ(service.log.take(), "unlink 0");
    }
};

/// A connection is lost while its link is accepted. The next client at that address has no link.
TEST_F(Links, AcceptedAfterTheLoss) {
    const auto accepted_late = [this](auto& _service, EMsg _connect, EMsg _shutdown) {
        const Addr address = _service.open();
        const Other_client marker(address);
        Other_client lost(address);
        _service.gate.close();
        lost.tell(_connect, c_code);
        _service.gate.until_reached();
        const std::uint16_t port = lost.port();
        lost.reset();
        EXPECT_EQ(_service.log.take(), "disconnect");
        _service.gate.open();
        marker.tell(_shutdown, c_code);
        EXPECT_EQ(_service.log.take(), "unlink 0") << "requests of one member run in order: the link is decided now";

        Raw_socket again(stream());
        again.bind(port);
        const Raw_client next(address.port, 0, std::exchange(again.fd, -1));
        next.open();
        if constexpr (requires { _service.put(""); }) {
            EXPECT_EQ(_service.put("stray"), 0);
        } else {
            next.send(next.call(9, text("stray"), static_cast<std::uint8_t>(EMsg::command_tcp), c_code));
        }
        next.send(next.call(10, {}, static_cast<std::uint8_t>(_connect), 99));
        EXPECT_EQ(next.next().num, 10) << "a refusal, and no value ahead of it";
        EXPECT_TRUE(_service.log.empty());
    };
    accepted_late(make<Event_service>(), EMsg::event_connect, EMsg::event_shutdown);
    accepted_late(make<Information_service>(), EMsg::information_tcp_connect, EMsg::information_tcp_shutdown);
    accepted_late(make<Command_service>(), EMsg::command_connect, EMsg::command_shutdown);
}

TEST_F(Links, EveryForm) {
    every_form<Event_service, Event_client>();
    for (const bool reliable : {true, false}) every_form<Information_service, Information_client>(reliable);
    every_form<Command_service, Command_client>();
}

TEST_F(Links, LossAndTheLinkAfterwards) {
    lost<Event_service, Event_client>();
    for (const bool reliable : {true, false}) lost<Information_service, Information_client>(reliable);
    lost<Command_service, Command_client>();
    lost_blocks = 2;  // of "old", at the service of commands: this end of a link does not give them back
}

}  // namespace
