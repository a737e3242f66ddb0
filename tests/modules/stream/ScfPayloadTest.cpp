#include "modules/stream/ScfPayload.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "modules/stream/Sealed.h"

namespace Test {
namespace {

using nlohmann::json;

bool Same(const SDK::Row& left, const SDK::Row& right) {
  return left.key == right.key && left.value == right.value && left.comment == right.comment &&
         left.path == right.path;
}

Scf::Payload Decoded(const std::string& text) {
  return Scf::DecodePayload(json::to_cbor(json::parse(text)));
}

TEST(ScfPayload, EveryRowComesBackAsItWas) {
  const std::string bytes = "caf\xE9 \xFF";  // not UTF-8
  const Scf::Payload payload{
      "/BIOS",
      {{"[BIOS::Main]",
        {{"Quiet Boot", "1", ";Options: Off=0: On=1", "/BIOS/Main/Quiet Boot"},
         {"Other", "", ";Options: Off=0: On=1", "/BIOS/Main/Sub/Other"},
         {"No Path", "v", "", ""},
         {bytes, bytes, bytes, "/BIOS/Main/" + bytes},
         {"", "a\nb\x01", "", "/BIOS/Main/"},
         {"Far", "", "", "/BMC/Far"}}},
       {"[Empty]", {}},
       {"[CHANNEL::LAN1::SOL]",
        {{"SOLEnable", "ENABLE", "", "/BMC/SOL/CHANNEL[1]/ENABLEUSER"},
         {"SolRetryInterval", "10", "", "/BMC/SOL/CHANNEL[1]/RETRY/INTERVAL"},
         {"CHANNEL[1]", "key and name alike", "", "/BMC/SOL/CHANNEL[1]/CHANNEL[1]"}}},
       {"[Pathless]", {{"a", "1", "", ""}, {"b", "2", "", "/x/b"}}},
       {"[x]", {{"b", "2", "", "/x/b"}, {"c", "", "", "/xy"}}}}};
  const Scf::Payload back = Scf::DecodePayload(Scf::EncodePayload(payload));
  EXPECT_EQ(back.target, payload.target);
  ASSERT_EQ(back.sections.size(), payload.sections.size());
  for (std::size_t index = 0; index < back.sections.size(); ++index) {
    EXPECT_EQ(back.sections[index].name, payload.sections[index].name);
    EXPECT_TRUE(std::ranges::equal(back.sections[index].rows, payload.sections[index].rows, Same))
        << index;
  }
}

TEST(ScfPayload, ItIsPlainCborWithEachCommentOnce) {
  const Scf::Payload payload{"/T",
                             {{"[S]", {{"a", "1", ";c", "/p/a"}, {"b", "2", ";c", "/p/c/d"}}}}};
  EXPECT_EQ(json::from_cbor(Scf::EncodePayload(payload)), json::parse(R"(
      {"target": "/T", "comments": [";c"], "sections": [
        {"section": "[S]", "path": "/p", "rows": [["a", "1", 0], ["b", "2", 0, "c/d"]]}]})"));
  const Scf::Payload menu{"/T", {{"[A::B]", {{"k", "1", "", "/A/B/k"}}}}};
  EXPECT_EQ(json::from_cbor(Scf::EncodePayload(menu)), json::parse(R"(
      {"target": "/T", "comments": [""], "sections": [
        {"section": "[A::B]", "rows": [["k", "1", 0]]}]})"));
}

TEST(ScfPayload, WhatAReaderDoesNotKnowIsPassedOver) {
  const Scf::Payload payload = Decoded(R"(
      {"new": {"a": [1, {"rows": [2]}]}, "target": "/T", "sections": [
        {"rows": [["k", "v", 0, "/p", {"more": true}, null], ["l", "w", 0, "/q", [1], -1]],
         "new": -1.5, "section": "[S]"}], "comments": [";c"]})");
  ASSERT_EQ(payload.sections.size(), 1U);
  EXPECT_EQ(payload.target, "/T");
  EXPECT_EQ(payload.sections[0].name, "[S]");
  ASSERT_EQ(payload.sections[0].rows.size(), 2U);
  EXPECT_TRUE(Same(payload.sections[0].rows[0], {"k", "v", ";c", "/p"}));
  EXPECT_TRUE(Same(payload.sections[0].rows[1], {"l", "w", ";c", "/q"}));
}

TEST(ScfPayload, WhatHasAnotherShapeIsRefused) {
  for (const char* text : {"1",
                           "\"text\"",
                           "[]",
                           "null",
                           R"({"target": 1})",
                           R"({"target": ["x"]})",
                           R"({"comments": {}})",
                           R"({"comments": [1]})",
                           R"({"comments": [[]]})",
                           R"({"sections": {}})",
                           R"({"sections": ["x"]})",
                           R"({"sections": [[]]})",
                           R"({"sections": [{"rows": {}}]})",
                           R"({"sections": [{"rows": [1]}]})",
                           R"({"sections": [{"section": 1}]})",
                           R"({"sections": [{"path": true}]})",
                           R"({"sections": [{"rows": [["k", "v"]]}], "comments": [""]})",
                           R"({"sections": [{"rows": [[1, "v", 0]]}], "comments": [""]})",
                           R"({"sections": [{"rows": [["k", "v", "0"]]}], "comments": [""]})",
                           R"({"sections": [{"rows": [["k", "v", -1]]}], "comments": [""]})",
                           R"({"sections": [{"rows": [["k", "v", 1]]}], "comments": [""]})",
                           R"({"sections": [{"rows": [["k", ["v"], 0]]}], "comments": [""]})",
                           R"({"sections": [{"rows": [["k", "v", 0, 5]]}], "comments": [""]})"}) {
    EXPECT_THROW(static_cast<void>(Decoded(text)), Scf::Damaged) << text;
  }
}

TEST(ScfPayload, HostileBytesCostNeitherStackNorMemory) {
  EXPECT_THROW(static_cast<void>(Scf::DecodePayload({})), Scf::Damaged);
  const ByteList deep(std::size_t{1} << 20, 0x81);  // a list in a list in a list ...
  EXPECT_THROW(static_cast<void>(Scf::DecodePayload(deep)), Scf::Damaged);
  ByteList longText = {0xA1, 0x66, 't', 'a', 'r', 'g', 'e', 't', 0x7B, 0, 0, 0, 0xFF, 0, 0, 0, 0};
  EXPECT_THROW(static_cast<void>(Scf::DecodePayload(longText)), Scf::Damaged);
  ByteList many = {0xA1, 0x68, 's', 'e', 'c', 't', 'i', 'o', 'n', 's', 0x9F};
  many.resize(many.size() + 3'000'000, 0xA0);  // empty sections
  many.push_back(0xFF);
  EXPECT_THROW(static_cast<void>(Scf::DecodePayload(many)), Scf::Damaged);
}

}  // namespace
}  // namespace Test
