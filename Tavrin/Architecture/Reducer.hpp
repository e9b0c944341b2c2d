#pragma once

#include <concepts>
#include <functional>
#include <utility>

#include "Tavrin/Architecture/Effect.hpp"

namespace tavrin {

/// Changes a state in place for each action, and says what is to be done afterwards.
template <class R>
concept Reducer =
    requires(const R& reducer, typename R::State& state, const typename R::Action& action) {
      { reducer.reduce(state, action) } -> std::same_as<Effect<typename R::Action>>;
    };

/// A reducer made of one closure.
template <class StateType, class ActionType>
class Reduce {
 public:
  using State = StateType;
  using Action = ActionType;
  using Closure = std::function<Effect<Action>(State&, const Action&)>;

  explicit Reduce(Closure closure) : closure_(std::move(closure)) {}
  Effect<Action> reduce(State& state, const Action& action) const {
    return closure_(state, action);
  }

 private:
  Closure closure_;
};

/// An action enumeration in three families: for the feature's own view, for its parent, and for
/// everything the feature does.
template <class Action>
concept TCAFeatureAction =
    requires(typename Action::ViewAction (*view)(), typename Action::DelegateAction (*delegate)(),
             typename Action::BusinessAction (*business)()) {
      { Action::view(view()) } -> std::same_as<Action>;
      { Action::delegate(delegate()) } -> std::same_as<Action>;
      { Action::business(business()) } -> std::same_as<Action>;
    };

}  // namespace tavrin
