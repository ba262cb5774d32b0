#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

namespace json::detail {

// What every shared node begins with. A node with several owners is never written to.
struct NodeHeader {
  std::atomic<std::uint32_t> owners{1};
  // References into the node were handed out for writing and may still be in use. Such a node keeps its one owner: a
  // copy of the value takes a node of its own, so that those references never reach the copy.
  bool lent = false;
};

// The value that every empty handle reads. It is never destroyed, so that static destructors may still read it.
template <typename Value>
union Nothing {
  Value value;
  Nothing() noexcept : value() {}
  ~Nothing() {}
};
template <typename Value>
const Value& nothing() noexcept {
  static const Nothing<Value> kNothing;
  return kNothing.value;
}

// A handle to a node, counted and copied on write. Node has a member `value`, derives from NodeHeader, and comes with
// duplicate(const Node&) and destroy(Node*), found by its type.
// An unlent node owns no lent nodes: elements are put into a node as copies, or through a reference that lent it.
template <typename Node>
class Shared {
 public:
  Shared() noexcept = default;
  explicit Shared(Node* fresh) noexcept : mNode(fresh) {}
  Shared(const Shared& other) : mNode(other.share()) {}
  Shared(Shared&& other) noexcept : mNode(std::exchange(other.mNode, nullptr)) {}
  ~Shared() {
    if (mNode != nullptr && isLast()) destroy(mNode);
  }

  Shared& operator=(const Shared& other) {
    Shared(other).swap(*this);
    return *this;
  }
  Shared& operator=(Shared&& other) noexcept {
    Shared(std::move(other)).swap(*this);
    return *this;
  }
  void swap(Shared& other) noexcept { std::swap(mNode, other.mNode); }

  const auto& read() const noexcept { return mNode != nullptr ? mNode->value : nothing<decltype(Node::value)>(); }

  // The value for a change that hands out no reference.
  auto& write() {
    if (mNode == nullptr) {
      mNode = new Node;
    } else if (mNode->owners.load(std::memory_order_acquire) != 1) {
      Shared(duplicate(*mNode)).swap(*this);
    }
    return mNode->value;
  }

  // The value for a reference or iterator that the caller may keep and write through.
  auto& lend() {
    auto& value = write();
    mNode->lent = true;
    return value;
  }

  bool isLent() const noexcept { return mNode != nullptr && mNode->lent; }

  // Gives the node up: returns it when this was its last owner, else null.
  Node* abandon() noexcept {
    Node* node = std::exchange(mNode, nullptr);
    return node != nullptr && isLast(*node) ? node : nullptr;
  }

 private:
  Node* share() const {
    if (mNode == nullptr) return nullptr;
    if (mNode->lent) return duplicate(*mNode);
    mNode->owners.fetch_add(1, std::memory_order_relaxed);
    return mNode;
  }

  bool isLast() const noexcept { return isLast(*mNode); }
  // The first test spares the common case its locked instruction: a sole owner cannot gain company meanwhile.
  static bool isLast(Node& node) noexcept {
    return node.owners.load(std::memory_order_acquire) == 1 || node.owners.fetch_sub(1, std::memory_order_acq_rel) == 1;
  }

  Node* mNode = nullptr;
};

}  // namespace json::detail
