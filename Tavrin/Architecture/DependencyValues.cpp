#include "Tavrin/Architecture/DependencyValues.hpp"

namespace tavrin {

namespace {

// The innermost override of this thread; absent outside every override.
thread_local std::shared_ptr<void> innermost;

}  // namespace

DependencyValues DependencyValues::current() {
  static const auto* process = new std::shared_ptr<Scope>(std::make_shared<Scope>(nullptr));
  return DependencyValues(innermost ? std::static_pointer_cast<Scope>(innermost) : *process);
}

std::any DependencyValues::Scope::find(std::type_index key, const Make& make) {
  std::optional<DependencyContext> context;
  {
    const LockGuard lock(mutex_);
    if (const auto entry = entries_.find(key); entry != entries_.end()) return entry->second;
    context = context_;
  }
  if (!context && outer_) return outer_->find(key, make);
  auto made = make(context.value_or(DependencyContext::live));
  const LockGuard lock(mutex_);
  return entries_.try_emplace(key, std::move(made)).first->second;
}

void DependencyValues::Scope::set(std::type_index key, std::any value) {
  const LockGuard lock(mutex_);
  entries_.insert_or_assign(key, std::move(value));
}

void DependencyValues::Scope::setContext(DependencyContext context) {
  const LockGuard lock(mutex_);
  context_ = context;
}

DependencyValues::Override::Override()
    : scope_(std::make_shared<Scope>(DependencyValues::current().scope_)),
      outer_(std::static_pointer_cast<Scope>(std::exchange(innermost, scope_))) {}

DependencyValues::Override::~Override() { innermost = outer_; }

}  // namespace tavrin
