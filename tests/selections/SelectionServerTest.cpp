#include "XSide.h"

#include "platform/x11/selections/SelectionServer.h"

namespace {

struct SelectionServerTest : testing::Test {
    SelectionServerTest() {
        thread.runAndWait([this] {
            server = std::make_unique<SelectionServer>(thread, thread.connection().atom("CLIPBOARD"));
            EXPECT_TRUE(server->own(textContent(u"Grüße"_s), [this](const auto& request) {
                const std::lock_guard lock(mutex);
                requests.push_back(request);
            }));
        });
    }
    ~SelectionServerTest() override {
        thread.runAndWait([this] { server.reset(); });
    }

    /// Asks as another client does; the property that came, or nothing when refused.
    XReply<xcb_get_property_reply_t> convert(const QByteArray& target, const std::vector<xcb_atom_t>& pairs = {}) {
        xcb_connection_t* c = client.get();
        if (!pairs.empty())
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, property, client.atom("ATOM_PAIR"), 32,
                                static_cast<quint32>(pairs.size()), pairs.data());
        xcb_convert_selection(c, window, client.atom("CLIPBOARD"), client.atom(target), property, XCB_CURRENT_TIME);
        return answer(target);
    }

    XReply<xcb_get_property_reply_t> answer(const QByteArray& target) {
        while (const auto event = client.waitForEvent(deadlineIn(10s))) {
            if ((event->response_type & 0x7f) != XCB_SELECTION_NOTIFY)
                continue;
            if (reinterpret_cast<const xcb_selection_notify_event_t*>(event.get())->property == XCB_ATOM_NONE)
                return nullptr;
            return get(property);
        }
        ADD_FAILURE() << "no answer for " << target.toStdString();
        return nullptr;
    }

    XReply<xcb_get_property_reply_t> get(xcb_atom_t name) {
        return XReply<xcb_get_property_reply_t>(xcb_get_property_reply(
            client.get(), xcb_get_property(client.get(), 1, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, 1 << 20),
            nullptr));
    }

    static QByteArray bytes(const XReply<xcb_get_property_reply_t>& reply) {
        return reply ? QByteArray(static_cast<const char*>(xcb_get_property_value(reply.get())),
                                  xcb_get_property_value_length(reply.get()))
                     : QByteArray("refused");
    }

    XConnection client;
    xcb_window_t window = client.makeHiddenWindow(0);
    xcb_atom_t property = client.atom("RESULT");
    XThread thread;
    std::unique_ptr<SelectionServer> server;
    std::mutex mutex;
    std::vector<SelectionServer::Request> requests;
};

} // namespace

TEST_F(SelectionServerTest, AnswersInTheAskedFormOrRefuses) {
    EXPECT_EQ(bytes(convert("UTF8_STRING")), "Grüße");
    EXPECT_EQ(bytes(convert("text/plain;charset=utf-8")), "Grüße");
    EXPECT_EQ(bytes(convert("STRING")), "Gr\xfc\xdf\x65");
    EXPECT_EQ(bytes(convert("GTK_TEXT_BUFFER_CONTENTS")), "refused");
    const auto time = convert("TIMESTAMP");
    ASSERT_TRUE(time);
    const quint32 since = *static_cast<const quint32*>(xcb_get_property_value(time.get()));
    const quint32 now = client.serverTime(deadlineIn(10s)).value_or(0);
    EXPECT_LE(now - since, 600'000u) << "a time of this server, not long ago";
}

TEST_F(SelectionServerTest, MultipleServesEachPartAndMarksTheRefused) {
    const xcb_atom_t text = client.atom("PART_TEXT");
    const xcb_atom_t none = client.atom("PART_NONE");
    const auto reply = convert(
        "MULTIPLE", {client.atom("UTF8_STRING"), text, client.atom("image/png"), none, client.atom("MULTIPLE"), none});
    ASSERT_TRUE(reply);
    const auto* pairs = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
    ASSERT_EQ(xcb_get_property_value_length(reply.get()), 24);
    EXPECT_EQ(pairs[1], text);
    EXPECT_EQ(pairs[3], xcb_atom_t{XCB_ATOM_NONE});
    EXPECT_EQ(pairs[5], xcb_atom_t{XCB_ATOM_NONE}) << "nested";
    EXPECT_EQ(bytes(get(text)), "Grüße");
}

TEST_F(SelectionServerTest, AQuestionUnderWayWhenTheContentChangesIsRefusedNotForgotten) {
    thread.runAndWait([this] {
        xcb_convert_selection(client.get(), window, client.atom("CLIPBOARD"), client.atom("UTF8_STRING"), property,
                              XCB_CURRENT_TIME);
        std::ignore = client.serverTime(deadlineIn(10s)); // it is with the server
        EXPECT_TRUE(server->own(textContent(u"what was there before"_s), {}));
    });
    EXPECT_EQ(bytes(answer("UTF8_STRING")), "refused");
    EXPECT_EQ(bytes(convert("UTF8_STRING")), "what was there before");
}

TEST_F(SelectionServerTest, TellsWhoAskedForWhat) {
    const Program xclip(u"xclip"_s, {u"-o"_s, u"-selection"_s, u"clipboard"_s, u"-t"_s, u"UTF8_STRING"_s});
    EXPECT_TRUE(waitUntil([this] {
        const std::lock_guard lock(mutex);
        return !requests.empty();
    }));
    convert("TARGETS");
    convert("image/png");
    const std::lock_guard lock(mutex);
    ASSERT_EQ(requests.size(), 2u) << "TARGETS says nothing about a paste";
    EXPECT_EQ(requests[0].pid, xclip.pid());
    EXPECT_EQ(requests[0].target, "UTF8_STRING");
    EXPECT_TRUE(requests[0].served);
    EXPECT_FALSE(requests[1].served);
}

TEST_F(SelectionServerTest, AClientThatGoesInTheMiddleOfALargeTransferIsForgotten) {
    thread.runAndWait([this] {
        SelectionContent content{{"UTF8_STRING", "UTF8_STRING", 8, QByteArray(4 * 1024 * 1024, 'x')}};
        EXPECT_TRUE(server->own(std::move(content)));
    });
    const auto first = convert("UTF8_STRING");
    ASSERT_TRUE(first);
    EXPECT_EQ(first->type, client.atom("INCR"));
    xcb_destroy_window(client.get(), window);
    (void)client.serverTime(deadlineIn(10s));
    settle(thread);
    window = client.makeHiddenWindow(0);
    EXPECT_EQ(bytes(convert("image/png")), "refused") << "and others are served";
    EXPECT_TRUE(waitUntil(
        [this] { return thread.call(deadlineIn(10s), [this] { return server->transfers(); }) == size_t{0}; }));
}
