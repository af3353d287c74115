#include "work/wire.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <random>

namespace {

Batch SomeItems() {
  return {{"5eed", "first"},
          {{ItemKind::kFolder, "/photos/new\nline"},
           {ItemKind::kPhoto, "/photos/\xff.jpg"},
           {ItemKind::kVideo, "", ItemAction::kMove, "/photos/old", true}}};
}

Results SomeResults() {
  return {7,
          {{ItemOutcome::kStored, "", "c0ffee"},
           ItemResult::Failed("no"),
           ItemResult::Stored("the picture is cut short"),
           ItemResult::NotKept("disk full")},
          {3, 0x1'0000'0002}};
}

TEST(Wire, ABatchComesThroughByteForByte) {
  const auto batch = DecodeBatch(EncodeBatch(SomeItems()));
  ASSERT_TRUE(batch);
  EXPECT_EQ(batch->name.writer, "5eed");
  EXPECT_EQ(batch->name.run, "first");
  const std::vector<WorkItem>* const items = &batch->items;
  ASSERT_EQ(items->size(), 3U);
  EXPECT_EQ((*items)[0].kind, ItemKind::kFolder);
  EXPECT_EQ((*items)[0].path, "/photos/new\nline");
  EXPECT_EQ((*items)[1].path, "/photos/\xff.jpg");
  EXPECT_EQ((*items)[2].kind, ItemKind::kVideo);
  EXPECT_EQ((*items)[2].action, ItemAction::kMove);
  EXPECT_EQ((*items)[2].from, "/photos/old");
  EXPECT_TRUE((*items)[2].same_content);
  EXPECT_FALSE((*items)[1].same_content);
}

TEST(Wire, ResultsComeThrough) {
  const auto results = DecodeResults(EncodeResults(SomeResults()));
  ASSERT_TRUE(results);
  EXPECT_EQ(results->first, 7U);
  ASSERT_EQ(results->items.size(), 4U);
  EXPECT_TRUE(results->items[0].done());
  EXPECT_EQ(results->items[0].fingerprint, "c0ffee");
  EXPECT_EQ(results->items[1].outcome, ItemOutcome::kUnusable);
  EXPECT_EQ(results->items[1].reason, "no");
  EXPECT_TRUE(results->items[2].done());
  EXPECT_EQ(results->items[2].reason, "the picture is cut short");
  EXPECT_EQ(results->items[3].outcome, ItemOutcome::kNotKept);
  EXPECT_EQ(results->items[3].reason, "disk full");
  EXPECT_EQ(results->generations, (std::vector<std::uint64_t>{3, 0x1'0000'0002}));
}

TEST(Wire, AMessageCutAtAnyLengthIsRefused) {
  const std::string batch = EncodeBatch(SomeItems());
  for (std::size_t length = 0; length < batch.size(); ++length) {
    EXPECT_FALSE(DecodeBatch(std::string_view(batch).substr(0, length))) << length;
  }
  const std::string results = EncodeResults(SomeResults());
  for (std::size_t length = 0; length < results.size(); ++length) {
    EXPECT_FALSE(DecodeResults(std::string_view(results).substr(0, length))) << length;
  }
}

TEST(Wire, AMessageWithBytesBehindItIsRefused) {
  EXPECT_FALSE(DecodeBatch(EncodeBatch(SomeItems()) + "x"));
  EXPECT_FALSE(DecodeResults(EncodeResults(SomeResults()) + "x"));
}

TEST(Wire, ACountThatPromisesTooMuchIsRefused) {
  EXPECT_FALSE(DecodeBatch(MessageWriter().Text("").Text("").Number(0xFFFFFFFF).content()));
  EXPECT_FALSE(DecodeResults(MessageWriter().Number(0).Number(0xFFFFFFFF).content()));
  EXPECT_FALSE(DecodeResults(MessageWriter().Number(0).Number(0).Number(0xFFFFFFFF).content()));
}

// A batch of one item, as it goes over the wire.
std::string OneItem(std::uint8_t kind, std::uint8_t action) {
  return MessageWriter()
      .Text("")
      .Text("")
      .Number(1)
      .Byte(kind)
      .Byte(action)
      .Byte(0)
      .Text("/a")
      .Text("")
      .content();
}
std::string OneResult(std::uint8_t outcome) {
  return MessageWriter().Number(0).Number(1).Byte(outcome).Text("").Text("").Number(0).content();
}

TEST(Wire, AnUnknownKindIsRefused) {
  constexpr auto kLast = static_cast<std::uint8_t>(ItemKind::kVideo);
  EXPECT_TRUE(DecodeBatch(OneItem(kLast, 0)));
  EXPECT_FALSE(DecodeBatch(OneItem(kLast + 1, 0)));
}

TEST(Wire, AnUnknownActionIsRefused) {
  constexpr auto kLast = static_cast<std::uint8_t>(ItemAction::kNoteMounts);
  EXPECT_TRUE(DecodeBatch(OneItem(0, kLast)));
  EXPECT_FALSE(DecodeBatch(OneItem(0, kLast + 1)));
}

TEST(Wire, AnUnknownOutcomeIsRefused) {
  constexpr auto kLast = static_cast<std::uint8_t>(ItemOutcome::kSkipped);
  EXPECT_TRUE(DecodeResults(OneResult(kLast)));
  EXPECT_FALSE(DecodeResults(OneResult(kLast + 1)));
}

// Whoever steers a worker could fill the catalogue with it.
TEST(Wire, WhatIsToldOfAnItemHasABound) {
  const auto with = [](std::size_t trouble, std::size_t fingerprint) {
    return DecodeResults(MessageWriter()
                             .Number(0)
                             .Number(1)
                             .Byte(0)
                             .Text(std::string(trouble, 'x'))
                             .Text(std::string(fingerprint, 'f'))
                             .Number(0)
                             .content());
  };
  EXPECT_TRUE(with(4096, 128));
  EXPECT_FALSE(with(4097, 128));
  EXPECT_FALSE(with(4096, 129));
}

// It is kept in a line of words.
TEST(Wire, AFingerprintIsOneWord) {
  const auto with = [](std::string_view fingerprint) {
    return DecodeResults(
        MessageWriter().Number(0).Number(1).Byte(0).Text("").Text(fingerprint).Number(0).content());
  };
  EXPECT_TRUE(with("c0ffee"));
  EXPECT_TRUE(with(""));
  EXPECT_FALSE(with("c0 ffee"));
  EXPECT_FALSE(with(std::string_view("c0\0ffee", 7)));
}

TEST(Wire, ALongTroubleIsCut) {
  const auto results = DecodeResults(EncodeResults({0, {ItemResult::Failed(std::string(5000, 'x'))}}));
  ASSERT_TRUE(results);
  EXPECT_EQ(results->items[0].reason, std::string(4096, 'x'));
}

TEST(Wire, RandomBytesNeverBreakTheReader) {
  constexpr unsigned kSeed = 20240501;
  std::mt19937 random(kSeed);
  for (int round = 0; round < 20000; ++round) {
    std::string bytes(random() % 64, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() % 4 == 0 ? random() : 0);
    const auto items = DecodeBatch(bytes);
    const auto results = DecodeResults(bytes);
    EXPECT_LE(items ? items->items.size() : 0, bytes.size());
    EXPECT_LE(results ? results->items.size() : 0, bytes.size());
  }
}

// Two ends of a conversation.
class ChannelTest : public testing::Test {
 protected:
  void SetUp() override {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    raw_ = FileDescriptor(ends[0]);
    channel_.emplace(FileDescriptor(ends[1]));
  }

  void SendRaw(std::string_view bytes) {
    ASSERT_EQ(send(raw_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }

  FileDescriptor raw_;
  std::optional<Channel> channel_;
};

TEST_F(ChannelTest, WhatIsPostedWaitsForNobody) {
  const std::string content(1 << 19, 'c');
  channel_->Post(MessageType::kBatch, content);
  channel_->Post(MessageType::kStop);
  ASSERT_TRUE(channel_->has_unsent());
  Channel other(std::move(raw_));
  std::vector<Message> arrived;
  while (arrived.size() < 2) {
    channel_->Flush();
    ASSERT_EQ(other.ReadArrived(), Channel::State::kOpen);
    while (auto message = other.Next()) arrived.push_back(std::move(*message));
  }
  EXPECT_FALSE(channel_->has_unsent());
  EXPECT_EQ(arrived[0].type, MessageType::kBatch);
  EXPECT_EQ(arrived[0].content, content);
  EXPECT_EQ(arrived[1].type, MessageType::kStop);
}

TEST_F(ChannelTest, NothingWaitsForAnEndThatIsGone) {
  channel_->Post(MessageType::kBatch, std::string(1 << 19, 'c'));
  ASSERT_TRUE(channel_->has_unsent());
  raw_ = FileDescriptor();
  channel_->Flush();
  EXPECT_FALSE(channel_->has_unsent());
}

TEST_F(ChannelTest, AMessageMayComeByteByByte) {
  const std::string message =
      MessageWriter().Number(5).Byte(static_cast<std::uint8_t>(MessageType::kTurnedTo)).content() + "four";
  for (const char byte : message) {
    EXPECT_FALSE(channel_->Next());
    SendRaw(std::string(1, byte));
    EXPECT_EQ(channel_->ReadArrived(), Channel::State::kOpen);
  }
  const auto received = channel_->Next();
  ASSERT_TRUE(received);
  EXPECT_EQ(received->type, MessageType::kTurnedTo);
  EXPECT_EQ(received->content, "four");
}

TEST_F(ChannelTest, SeveralMessagesMayComeAtOnce) {
  Channel other{std::move(raw_)};
  ASSERT_TRUE(other.Send(MessageType::kReady));
  ASSERT_TRUE(other.Send(MessageType::kBatchEnd));
  EXPECT_EQ(channel_->Receive()->type, MessageType::kReady);
  EXPECT_EQ(channel_->Receive()->type, MessageType::kBatchEnd);
}

TEST_F(ChannelTest, ALengthBeyondAllBoundsBreaksTheChannel) {
  SendRaw(MessageWriter().Number(0xFFFFFFFF).content());
  EXPECT_EQ(channel_->ReadArrived(), Channel::State::kOpen);
  EXPECT_FALSE(channel_->Next());
  EXPECT_TRUE(channel_->broken());
}

TEST_F(ChannelTest, AnEmptyFrameBreaksTheChannel) {
  SendRaw(MessageWriter().Number(0).content());
  EXPECT_FALSE(channel_->Receive());
  EXPECT_TRUE(channel_->broken());
}

TEST_F(ChannelTest, TheOtherEndsDepartureIsTold) {
  raw_.Close();
  EXPECT_EQ(channel_->ReadArrived(), Channel::State::kClosed);
  EXPECT_FALSE(channel_->Receive());
  EXPECT_FALSE(channel_->Send(MessageType::kStop));
}

}  // namespace
