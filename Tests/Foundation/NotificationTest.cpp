#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "Tavrin/Foundation/NotificationCenter.hpp"

namespace tavrin {
namespace {

struct Listener {
  int heard = 0;
  std::vector<std::string>* log = nullptr;
  std::string name;
};

void hear(Listener& listener) {
  ++listener.heard;
  if (listener.log) listener.log->push_back(listener.name);
}

class NotificationTest : public ::testing::Test {
 protected:
  NotificationCenter center;
  std::shared_ptr<Listener> listener = std::make_shared<Listener>();
  std::shared_ptr<const void> one = std::make_shared<int>(1);
  std::shared_ptr<const void> two = std::make_shared<int>(2);
};

TEST_F(NotificationTest, DeliversOncePerRegistrationThatMatchesNameAndSender) {
  center.addObserver(listener, hear, "end", one);
  center.addObserver(listener, hear, "end", one);
  center.addObserver(listener, hear, "end");
  center.post("end", one);
  EXPECT_EQ(listener->heard, 3);
  center.post("end", two);
  EXPECT_EQ(listener->heard, 4) << "without a sender, every sender matches";
  center.post("stall", one);
  EXPECT_EQ(listener->heard, 4);
  center.removeObserver(listener.get(), "end", two);
  center.removeObserver(listener.get(), "end", nullptr);
  center.post("end", one);
  EXPECT_EQ(listener->heard, 6);
  center.removeObserver(listener.get());
  center.post("end", one);
  EXPECT_EQ(listener->heard, 6);
}

TEST_F(NotificationTest, KeepsOrderAndPassesOverWhatAHandlerRemoves) {
  std::vector<std::string> log;
  std::vector<std::shared_ptr<Listener>> listeners;
  for (const char* name : {"a", "b", "c", "d", "e"}) {
    listeners.push_back(std::make_shared<Listener>(Listener{0, &log, name}));
    center.addObserver(listeners.back(), hear, "end");
  }
  struct Remover {
    NotificationCenter* center;
    Listener* victim;
  };
  const auto remover = std::make_shared<Remover>(Remover{&center, listeners[0].get()});
  void (*removeVictim)(Remover&) = [](Remover& r) { r.center->removeObserver(r.victim); };
  center.addObserver(remover, removeVictim, "end");
  center.addObserver(listeners[0], hear, "end");
  center.post("end", nullptr);
  EXPECT_EQ(log, (std::vector<std::string>{"a", "b", "c", "d", "e"}));
}

TEST_F(NotificationTest, SurvivesObserversGoingAwayOnOtherThreads) {
  std::thread others([&] {
    for (int i = 0; i < 5000; ++i) {
      const auto brief = std::make_shared<Listener>();
      center.addObserver(brief, hear, "end", two);
      if (i % 2 == 0) center.removeObserver(brief.get());
    }
  });
  center.addObserver(listener, hear, "end", one);
  for (int i = 0; i < 500; ++i) center.post("end", one);
  others.join();
  EXPECT_EQ(listener->heard, 500);
}

}  // namespace
}  // namespace tavrin
