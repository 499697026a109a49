// Links, alike for all kinds that have them: asked for in every form, refused, ended by either end, lost.

#include "net/support/kinds.h"

using namespace net;

namespace {

class Links : public Runtime {
protected:
    template <class Service, class Client>
    Ends<Service, Client> ends() {
        return {make<Service>(), make<Client>()};
    }

    template <class Service, class Client, class... Form>
    void every_form(Form... _form) {
        const auto both = ends<Service, Client>();
        auto& [service, client] = both;
        EXPECT_EQ(both.writer().put("early"), VORN_ERR_IS_NOT_CREATED_);
        client.connect(service.open());
        EXPECT_EQ(both.writer().put("nobody"), 0);
        const std::string nothing = both.newest();
        for (const bool plain : {false, true}) {
            const auto link = [&, &service = service, &client = client] {
                return plain ? client.await_link(&service.gate, _form...) : client.link(_form...);
            };
            service.decision = c_refusal;
            EXPECT_EQ(link(), "link 77");
            EXPECT_FALSE(client.is_linked());
            EXPECT_EQ(both.writer().put("refused"), 0);
            service.decision = 0;
            EXPECT_EQ(link(), "link 0");
            EXPECT_TRUE(client.is_linked());
            Msg_num num = 0;
            EXPECT_EQ(client.delegate_link(&num, _form..., 1), VORN_ERR_ALREADY_CONNECTED_);
            EXPECT_EQ(client.await_link_return(client.async_link(_form..., 1), nullptr), VORN_ERR_ALREADY_CONNECTED_);
            EXPECT_EQ(both.newest(), nothing);
            for (const char* const text : {"", "one"}) both.pass(text);
            EXPECT_TRUE(both.newest() == "one" || both.newest() == nothing);

            client.unlink();
            EXPECT_FALSE(client.is_linked());
            EXPECT_EQ(service.log.take(), "unlink 0");
            EXPECT_EQ(both.newest(), nothing);
            client.unlink();
            EXPECT_EQ(link(), "link 0");
            plain ? service.unlink(client.self()) : service.unlink_all_proxy();
            EXPECT_EQ(client.log.take(), "unlink 0");
            EXPECT_FALSE(client.is_linked());
            service.unlink(client.self());
        }
        EXPECT_EQ(both.writer().put("late"), 0);
        EXPECT_EQ(client.link(_form...), "link 0");
        both.pass("last");
        EXPECT_TRUE(service.log.empty()) << "the service gets no callback for an end that it asked for";
        client.unlink();
        EXPECT_EQ(service.log.take(), "unlink 0");
    }

    template <class Service, class Client, class... Form>
    void lost(Form... _form) {
        const auto both = ends<Service, Client>();
        auto& [service, client] = both;
        client.connect(service.open());
        const std::string nothing = both.newest();
        EXPECT_EQ(client.await_link(&service.gate, _form...), "link 0");
        both.pass("old");
        client.lose_connection();
        for (Log* const log : {&client.log, &service.log})
            EXPECT_EQ(log->lines(2), "unlink VORN_ERR_DISCONNECTED_TCP_, disconnect");
        EXPECT_FALSE(client.is_linked());
        EXPECT_EQ(both.newest(), nothing);
        both.writer().put("nobody");
        EXPECT_EQ(client.link(_form...), "link 0");
        both.pass("new");
        client.unlink();
        EXPECT_EQ(service.log.take(), "unlink 0");
    }
};

/// A connection is lost while its link is accepted. The next client at that address has no link.
TEST_F(Links, AcceptedAfterTheLoss) {
    const auto accepted_late = [](auto& _service, EMsg _connect, EMsg _shutdown) {
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
