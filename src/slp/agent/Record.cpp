#include "slp/agent/Record.h"

#include <algorithm>

namespace slp::agent {

void RecordList::append(Link& link) {
  link.previous = mEnd.previous;
  link.next = &mEnd;
  mEnd.previous->next = &link;
  mEnd.previous = &link;
}

void RecordList::remove(Link& link) {
  link.previous->next = link.next;
  link.next->previous = link.previous;
  link.previous = link.next = nullptr;
}

bool ParsedBudget::take(std::size_t bytes) {
  if (mUsed.fetch_add(bytes, std::memory_order_relaxed) + bytes <= mBytes) return true;
  giveBack(bytes);
  return false;
}

void Record::setTexts(std::string_view url, std::string_view attributes) {
  // One block, made before the old one goes: the arguments may be views of it.
  auto block = std::make_unique_for_overwrite<char[]>(url.size() + attributes.size());
  std::copy(url.begin(), url.end(), block.get());
  std::copy(attributes.begin(), attributes.end(), block.get() + url.size());
  forgetParsed();
  texts = std::move(block);
  urlLength = static_cast<std::uint32_t>(url.size());
  attributesLength = static_cast<std::uint32_t>(attributes.size());
}

const wire::AttributeList& Record::parsed(std::unique_ptr<const wire::AttributeList>& scratch) const {
  if (const auto* kept = mParsed.load(std::memory_order_acquire)) return *kept;
  auto fresh = std::make_unique<const wire::AttributeList>(attributes());
  const auto size = fresh->bytes();
  if (!mBudget.take(size)) {
    scratch = std::move(fresh);
    return *scratch;
  }
  const wire::AttributeList* kept = nullptr;
  if (mParsed.compare_exchange_strong(kept, fresh.get(), std::memory_order_acq_rel)) return *fresh.release();
  mBudget.giveBack(size);  // another reader was quicker
  return *kept;
}

void Record::forgetParsed() {
  const std::unique_ptr<const wire::AttributeList> kept(mParsed.exchange(nullptr, std::memory_order_acq_rel));
  if (kept) mBudget.giveBack(kept->bytes());
}

}  // namespace slp::agent
