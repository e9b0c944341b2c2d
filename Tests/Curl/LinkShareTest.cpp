#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "Tavrin/Curl/LinkShare.hpp"

namespace tavrin::curl {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Id = LinkShare::Id;

constexpr double low = 0.25, normal = 0.5, next = 0.6, watched = 1;

constexpr std::int64_t large = 1 << 20;

// The transfers that connect, receive and are held, as the changes have it.
class Share : public ::testing::Test {
 protected:
  Id add(double priority = normal, const std::string& server = "a") {
    return share_.add(server, priority);
  }
  std::vector<Id> add(int count, const std::string& server) {
    std::vector<Id> ids;
    for (int i = 0; i < count; ++i) ids.push_back(add(normal, server));
    return ids;
  }

  // Those that receive once all is settled.
  std::vector<Id> receiving() {
    for (const auto& [id, order] : share_.settle(now_)) {
      const bool isNew = order == LinkShare::Order::start;
      const bool isHeld = order == LinkShare::Order::hold;
      EXPECT_EQ(connected_.insert(id).second, isNew);
      if (isHeld) {
        EXPECT_EQ(receiving_.erase(id), 1u);
      } else {
        EXPECT_TRUE(receiving_.insert(id).second);
      }
    }
    return {receiving_.begin(), receiving_.end()};
  }
  void end(Id id) {
    share_.remove(id);
    receiving_.erase(id);
    connected_.erase(id);
  }
  void pass(std::chrono::milliseconds time) { now_ += time; }
  // Time passes, in which these give bytes while they receive.
  std::vector<Id> pass(std::chrono::milliseconds time, const std::vector<Id>& giving) {
    for (; time > 0ms; time -= 100ms) {
      pass(100ms);
      for (const auto id : giving) {
        if (receiving_.contains(id)) share_.received(id, now_, large);
      }
      receiving();
    }
    return receiving();
  }

  LinkShare share_{{.atOnce = 2, .connectionsPerServer = 4, .connections = 6}};
  LinkShare::Time now_;
  std::set<Id> receiving_;
  std::set<Id> connected_;
};

TEST_F(Share, AFewReceiveInTheirOrderAndTheNextFollow) {
  const Id last = add(low), first = add(), second = add(), third = add();
  EXPECT_THAT(receiving(), ElementsAre(first)) << "they connect one after another";
  EXPECT_THAT(pass(5s, {first, second}), ElementsAre(first, second));
  end(first);
  EXPECT_THAT(receiving(), ElementsAre(second, third));
  end(second);
  end(third);
  EXPECT_THAT(receiving(), ElementsAre(last));
}

TEST_F(Share, WatchedHasTheLinkToItselfWhileItGives) {
  const Id first = add(), second = add(), far = add();
  pass(300ms, {first, second});
  share_.setPriority(far, watched);
  EXPECT_THAT(receiving(), ElementsAre(far)) << "the others are held";
  const Id other = add(watched);
  EXPECT_THAT(receiving(), ElementsAre(far, other)) << "two players";
  EXPECT_THAT(pass(5s, {far, other}), ElementsAre(far, other));
  end(other);
  share_.setPriority(far, normal);
  EXPECT_THAT(receiving(), ElementsAre(first, second)) << "in the order in which they came";
}

TEST_F(Share, HigherPriorityThatGivesHasTheLinkBeforeLowerOnes) {
  const Id first = add(), second = add(), third = add();
  pass(300ms, {first, second});
  share_.setPriority(third, next);
  EXPECT_THAT(receiving(), ElementsAre(third));
  share_.received(third, now_, large);
  share_.setPriority(second, watched);
  EXPECT_THAT(receiving(), ElementsAre(second));
  end(second);
  EXPECT_THAT(pass(900ms, {}), ElementsAre(third)) << "it may still give";
  EXPECT_THAT(pass(200ms, {}), ElementsAre(first, third));
}

TEST_F(Share, MoreConnectAtOnceWhileBodiesAreSmall) {
  auto ids = add(20, "a");
  const auto endFirst = [&] {
    share_.received(ids.front(), now_, 1000);
    end(ids.front());
    ids.erase(ids.begin());
    return receiving().size();
  };
  EXPECT_EQ(receiving().size(), 1u);
  EXPECT_EQ(endFirst(), 2u);
  EXPECT_EQ(endFirst(), 4u) << "as many as there may be to a server";
  share_.received(ids.front(), now_, large);
  EXPECT_THAT(receiving(), ElementsAre(ids[0], ids[1])) << "the others are held";
}

TEST_F(Share, WhoGivesNothingKeepsNobodyWaiting) {
  const Id stalled = add(watched), first = add(), second = add(), third = add();
  EXPECT_THAT(receiving(), ElementsAre(stalled));
  pass(900ms);
  EXPECT_THAT(receiving(), ElementsAre(stalled));
  pass(100ms);
  EXPECT_THAT(receiving(), ElementsAre(stalled, first)) << "nothing for a second";
  pass(200ms);
  EXPECT_THAT(receiving(), ElementsAre(stalled, first, second)) << "nor does that one answer";
  pass(200ms);
  EXPECT_THAT(receiving(), ElementsAre(stalled, first, second, third));
  share_.received(stalled, now_, large);
  EXPECT_THAT(receiving(), ElementsAre(stalled)) << "it gives again";
}

TEST_F(Share, ConnectionsAreBoundedAndWatchedOnesHaveTheirOwn) {
  const auto many = add(8, "a");
  for (int i = 0; i < 10; ++i) {
    receiving();
    pass(1s);
  }
  EXPECT_EQ(connected_.size(), 4u) << "none of them answers";
  const auto elsewhere = add(8, "b");
  for (int i = 0; i < 10; ++i) {
    receiving();
    pass(1s);
  }
  EXPECT_EQ(connected_.size(), 6u);
  const auto last = many.back();
  share_.setPriority(last, watched);
  receiving();
  EXPECT_TRUE(receiving_.contains(last));
  // Whoever ends makes room for the next of its server.
  end(last);
  end(many.front());
  for (int i = 0; i < 10; ++i) {
    receiving();
    pass(1s);
  }
  EXPECT_TRUE(receiving_.contains(many[4])) << "first in line";
}

TEST_F(Share, RestartedGetsItsPlaceBack) {
  const Id first = add(), second = add(), third = add();
  pass(300ms, {first, second});
  share_.restart(first);
  receiving_.erase(first);
  connected_.erase(first);
  EXPECT_THAT(receiving(), ElementsAre(first, second));
  end(first);
  EXPECT_THAT(receiving(), ElementsAre(second, third));
}

TEST_F(Share, AsksForTimeOnlyWhileSomebodyWaits) {
  EXPECT_FALSE(share_.nextChange());
  add();
  receiving();
  EXPECT_FALSE(share_.nextChange()) << "nobody would go on";
  add();
  receiving();
  EXPECT_EQ(share_.nextChange(), now_ + 200ms) << "when the second connects, whatever comes";
  pass(200ms);
  receiving();
  EXPECT_FALSE(share_.nextChange()) << "both receive";
  EXPECT_THAT(share_.settle(now_), IsEmpty());
}

}  // namespace
}  // namespace tavrin::curl
