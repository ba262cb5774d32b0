#include <memory>

#include "slp/agent/Checks.h"
#include "slp/agent/RegistryState.h"

namespace slp::agent {

namespace {

/// Goes through a group and decides on each record.
class Walk {
 public:
  Walk(const Group& group, const Selection& selection)
      : mGroup(group), mSelection(selection), mScopes(selection.search.scopes), mLanguages(selection.search.language) {}

  Registry::Result run(const Registry::Visitor& visit) {
    for (const auto* link = mGroup.records.first(); link != mGroup.records.end(); link = link->next) {
      const auto& record = *link->record;
      if (!inScopes(record)) continue;
      mAnyInScopes = true;
      if (!inLanguage(record)) continue;
      mAnyInLanguage = true;
      if (!matches(record) || hasBeenVisited(record)) continue;
      if (!visit(entryOf(record, mSelection.now))) break;
    }
    const bool unspoken = mSelection.byLanguage && mAnyInScopes && !mAnyInLanguage;
    return unspoken ? Registry::Result::kLanguageNotSupported : Registry::Result::kOk;
  }

 private:
  bool inScopes(const Record& record) { return record.deadline > mSelection.now && mScopes.admits(record.scopes); }

  bool inLanguage(const Record& record) {
    if (!mSelection.byLanguage) return true;
    const auto spoken = mLanguages.spoken(record.language);
    return spoken == Spoken::kExact || (spoken == Spoken::kPrimary && !hasExactSibling(record));
  }

  bool hasExactSibling(const Record& record) {
    for (const auto* other = record.firstOfUrl; other; other = other->nextOfUrl) {
      if (other != &record && isOfGroup(*other) && inScopes(*other) &&
          mLanguages.spoken(other->language) == Spoken::kExact) {
        return true;
      }
    }
    return false;
  }

  bool matches(const Record& record) const {
    if (!mSelection.filter) return true;
    if (!record.isParsed() && !mSelection.filter->mayMatch(record.attributes())) return false;
    std::unique_ptr<const wire::AttributeList> scratch;
    return mSelection.filter->matches(record.parsed(scratch));
  }

  /// A URL that is registered in several languages is one service: it was visited when one before this was.
  bool hasBeenVisited(const Record& record) {
    for (const auto* other = record.firstOfUrl; other && other != &record; other = other->nextOfUrl) {
      if (isOfGroup(*other) && inScopes(*other) && inLanguage(*other) && matches(*other)) return true;
    }
    return false;
  }

  bool isOfGroup(const Record& record) const { return record.group == &mGroup || record.abstractGroup == &mGroup; }

  const Group& mGroup;
  const Selection& mSelection;
  ScopeCheck mScopes;
  LanguageCheck mLanguages;
  bool mAnyInScopes = false;
  bool mAnyInLanguage = false;
};

}  // namespace

Registry::Result walk(const Group& group, const Selection& selection, const Registry::Visitor& visit) {
  return Walk(group, selection).run(visit);
}

}  // namespace slp::agent
