// HTTP behaviour: keep-alive, pipelining, HEAD, 100-continue, request body
// framing, refused smuggling shapes, chunked answers and engine answers.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "engine_harness.h"

namespace {

using enginetest::Answer;
using enginetest::Client;
using enginetest::EchoEntry;
using enginetest::Fetch;
using enginetest::Get;
using enginetest::TestServer;

// Answers the body it received, with its length and a header value.
void BodyEntry(REST_REQ req, void *, void *) {
    u32 len = 0;
    const char *body = REST_RequestBodyGet(req, &len);
    const char *tag = REST_RequestHeadValueGet(req, "x-tag");
    std::string text = std::to_string(len) + ":" + (body != nullptr ? std::string(body, len) : "null") + ":" +
                       (tag != nullptr ? tag : "-") + ":" + (body != nullptr && body[len] == '\0' ? "nul" : "-");
    REST_ResponseSend(req, 200, text.data(), static_cast<u32>(text.size()));
}

void ChunksEntry(REST_REQ req, void *user, void *) {
    int parts = *static_cast<int *>(user);
    REST_ResponseChunkSendStart(req, 200);
    for (int i = 0; i < parts; ++i) {
        std::string part = std::to_string(i % 10);
        REST_ResponseChunkSend(req, part.data(), 1);
    }
    if (parts >= 0) REST_ResponseChunkSendEnd(req);
}

// Records the results of answering twice and of misplaced chunk calls.
struct Misuse {
    u32 chunk_before_start, second_send, chunk_after_whole, end_without_start;
};
void MisuseEntry(REST_REQ req, void *user, void *) {
    auto *seen = static_cast<Misuse *>(user);
    seen->chunk_before_start = REST_ResponseChunkSend(req, "x", 1);
    seen->end_without_start = REST_ResponseChunkSendEnd(req);
    REST_ResponseSend(req, 201, "first", 5);
    seen->second_send = REST_ResponseSend(req, 200, "second", 6);
    seen->chunk_after_whole = REST_ResponseChunkSend(req, "x", 1);
}

void TypedEntry(REST_REQ req, void *user, void *) {
    const char *body = static_cast<const char *>(user);
    if (strcmp(body, "<p/>") == 0) REST_ResponseHeadAdd(req, "Content-Type", "text/html");
    REST_ResponseHeadAdd(req, "X-Extra", "1");
    REST_ResponseSend(req, 200, body, static_cast<u32>(strlen(body)));
}

TEST(Http, KeepAliveReusesAndPipelinesInOrder) {
    TestServer server;
    server.Route("/a", EchoEntry, (void *)"A");
    server.Route("/b", EchoEntry, (void *)"B");
    ASSERT_EQ(server.Start(), 0u);
    Client client(server.port());
    Answer answer;
    ASSERT_TRUE(client.Send(Get("/a")));
    ASSERT_TRUE(client.Read(answer));
    EXPECT_EQ(answer.body, "A");
    ASSERT_TRUE(client.Send(Get("/b") + Get("/a") + Get("/missing") + Get("/b")));
    const std::pair<int, const char *> expected[] = {{200, "B"}, {200, "A"}, {404, nullptr}, {200, "B"}};
    for (const auto &[status, body] : expected) {
        ASSERT_TRUE(client.Read(answer));
        EXPECT_EQ(answer.status, status);
        if (body != nullptr) {
            EXPECT_EQ(answer.body, body);
        }
    }
    REST_STATS stats{};
    ASSERT_EQ(REST_ServerStatsGet(server.handle(), &stats), 0u);
    EXPECT_EQ(stats.ulConnectionsTotal, 1u);
    EXPECT_EQ(stats.aulResponses[2], 4u);
    EXPECT_EQ(stats.aulResponses[4], 1u);
}

TEST(Http, Http10ClosesUnlessKeptAlive) {
    TestServer server;
    server.Route("/a", EchoEntry, (void *)"A");
    ASSERT_EQ(server.Start(), 0u);
    Client plain(server.port());
    Answer answer;
    ASSERT_TRUE(plain.Send("GET /a HTTP/1.0\r\n\r\n"));
    ASSERT_TRUE(plain.Read(answer));
    EXPECT_EQ(answer.body, "A");
    EXPECT_TRUE(plain.ClosedWithin(5000));
    Client kept(server.port());
    ASSERT_TRUE(kept.Send("GET /a HTTP/1.0\r\nConnection: keep-alive\r\n\r\n"));
    ASSERT_TRUE(kept.Read(answer));
    ASSERT_TRUE(kept.Send("GET /a HTTP/1.0\r\nConnection: keep-alive\r\n\r\n"));
    ASSERT_TRUE(kept.Read(answer));
    EXPECT_EQ(answer.body, "A");
}

TEST(Http, HeadHasLengthButNoBody) {
    TestServer server;
    server.Route("/a", EchoEntry, (void *)"hello");
    ASSERT_EQ(server.Start(), 0u);
    Client client(server.port());
    Answer answer;
    ASSERT_TRUE(client.Send("HEAD /a HTTP/1.1\r\nHost: t\r\n\r\n" + Get("/a")));
    ASSERT_TRUE(client.Read(answer, true));
    EXPECT_EQ(answer.fields["content-length"], "5");
    ASSERT_TRUE(client.Read(answer));  // the next answer follows at once: no body bytes in between
    EXPECT_EQ(answer.body, "hello");
}

TEST(Http, BodiesByLengthChunkedAndContinue) {
    TestServer server;
    server.Route("/echo", BodyEntry);
    ASSERT_EQ(server.Start(), 0u);
    EXPECT_EQ(
        Fetch(server.port(), "POST /echo HTTP/1.1\r\nHost: t\r\nX-Tag: a\r\nx-tag: b\r\nContent-Length: 5\r\n\r\nhello")
            .body,
        "5:hello:a, b:nul");
    EXPECT_EQ(
        Fetch(server.port(),
              "POST /echo HTTP/1.1\r\nHost: t\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n")
            .body,
        "5:abcde:-:nul");
    EXPECT_EQ(Fetch(server.port(), Get("/echo")).body, "0:null:-:-");

    Client client(server.port());
    Answer answer;
    ASSERT_TRUE(client.Send("POST /echo HTTP/1.1\r\nHost: t\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\n"));
    ASSERT_TRUE(client.Read(answer));
    EXPECT_EQ(answer.status, 100);
    ASSERT_TRUE(client.Send("xyz"));
    ASSERT_TRUE(client.Read(answer));
    EXPECT_EQ(answer.body, "3:xyz:-:nul");
}

TEST(Http, SmugglingShapesAreRefusedAndClosed) {
    TestServer server;
    server.Route("/echo", BodyEntry);
    ASSERT_EQ(server.Start(), 0u);
    const char *shapes[] = {
        "POST /echo HTTP/1.1\r\nHost: t\r\nContent-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
        "POST /echo HTTP/1.1\r\nHost: t\r\nTransfer-Encoding: chunked\r\nContent-Length: 3\r\n\r\n0\r\n\r\n",
        "POST /echo HTTP/1.1\r\nHost: t\r\nContent-Length: 3\r\nContent-Length: 4\r\n\r\nabcd",
        "POST /echo HTTP/1.1\r\nHost: t\r\nContent-Length: 3, 4\r\n\r\nabcd",
        "POST /echo HTTP/1.1\r\nHost: t\r\nContent-Length: -1\r\n\r\n",
        "POST /echo HTTP/1.1\r\nHost: t\r\nTransfer-Encoding: identity\r\n\r\n",
        "POST /echo HTTP/1.1\r\nHost: t\r\nTransfer-Encoding: chunked, identity\r\n\r\n0\r\n\r\n",
        "POST /echo HTTP/1.1\r\nHost: t\r\nContent-Length : 3\r\n\r\nabc",
    };
    for (const char *shape : shapes) {
        Client client(server.port());
        Answer answer;
        ASSERT_TRUE(client.Send(shape));
        ASSERT_TRUE(client.Read(answer)) << shape;
        EXPECT_EQ(answer.status, 400) << shape;
        EXPECT_EQ(answer.fields["connection"], "close") << shape;
        EXPECT_TRUE(client.ClosedWithin(5000)) << shape;
    }
}

TEST(Http, ChunkedAnswerOfTenThousandParts) {
    TestServer server;
    int parts = 10000;
    server.Route("/chunks", ChunksEntry, &parts);
    ASSERT_EQ(server.Start(), 0u);
    Client client(server.port());
    Answer answer;
    ASSERT_TRUE(client.Send(Get("/chunks")));
    ASSERT_TRUE(client.Read(answer));
    EXPECT_TRUE(answer.chunked);
    EXPECT_EQ(answer.chunks, 10000u);
    ASSERT_EQ(answer.body.size(), 10000u);
    EXPECT_EQ(answer.body.substr(0, 12), "012345678901");
    // An HTTP/1.0 peer gets the same parts unframed, with a length.
    Answer old = Fetch(server.port(), "GET /chunks HTTP/1.0\r\n\r\n");
    EXPECT_FALSE(old.chunked);
    EXPECT_EQ(old.body, answer.body);
}

TEST(Http, EngineCompletesWhatTheEntryLeftUndone) {
    TestServer server;
    int open_parts = -3;  // negative: start, no parts, no end
    server.Route("/silent", enginetest::SilentEntry);
    server.Route("/open", ChunksEntry, &open_parts);
    ASSERT_EQ(server.Start(), 0u);
    Client client(server.port());
    Answer answer;
    ASSERT_TRUE(client.Send(Get("/silent") + Get("/open")));
    ASSERT_TRUE(client.Read(answer));
    EXPECT_EQ(answer.status, 500);
    ASSERT_TRUE(client.Read(answer));
    EXPECT_EQ(answer.status, 200);
    EXPECT_TRUE(answer.chunked);
    EXPECT_EQ(answer.body, "");
}

TEST(Http, AnAnswerIsSentOnce) {
    TestServer server;
    Misuse seen{};
    server.Route("/misuse", MisuseEntry, &seen);
    ASSERT_EQ(server.Start(), 0u);
    Answer answer = Fetch(server.port(), Get("/misuse"));
    EXPECT_EQ(answer.status, 201);
    EXPECT_EQ(answer.body, "first");
    EXPECT_NE(seen.chunk_before_start, 0u);
    EXPECT_NE(seen.end_without_start, 0u);
    EXPECT_NE(seen.second_send, 0u);
    EXPECT_NE(seen.chunk_after_whole, 0u);
}

TEST(Http, DefaultContentType) {
    TestServer server;
    server.Route("/obj", TypedEntry, (void *)"{\"a\":1}");
    server.Route("/arr", TypedEntry, (void *)"[1]");
    server.Route("/txt", TypedEntry, (void *)"plain");
    server.Route("/html", TypedEntry, (void *)"<p/>");
    ASSERT_EQ(server.Start(), 0u);
    const std::pair<const char *, const char *> cases[] = {{"/obj", "application/json"},
                                                           {"/arr", "application/json"},
                                                           {"/txt", "text/plain; charset=utf-8"},
                                                           {"/html", "text/html"}};
    for (const auto &[target, type] : cases) {
        Answer answer = Fetch(server.port(), Get(target));
        EXPECT_EQ(answer.fields["content-type"], type) << target;
        EXPECT_EQ(answer.fields["x-extra"], "1") << target;
    }
}

}  // namespace
