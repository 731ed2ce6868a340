#include "tools/common/schedules.h"

#include <algorithm>
#include <vector>

namespace {

// The pointers that `at(0)` to `at(count - 1)` give, by rising id, equal ids in their order.
template <class At>
auto byId(unsigned int count, At at) {
  std::vector<decltype(at(0u))> list;
  for (unsigned int i = 0; i < count; ++i) list.push_back(at(i));
  std::stable_sort(list.begin(), list.end(),
                   [](auto const* a, auto const* b) { return a->id() < b->id(); });
  return list;
}

}  // namespace

tString nk_tools::schedulesChecksum(nk_messageSetSchedulesReq const& set,
                                    nk_message::teVersion version) {
  nk_messageSetSchedulesReq ordered(version);
  for (auto const* one : byId(set.count(), [&](unsigned int i) { return set.getSchedule(i); })) {
    auto* const copy =
        ordered.addSchedule_(one->id(), one->name(), one->startTime(), one->stopTime(),
                             one->flags(), one->showOnLogicalDisplay());
    auto const at = [&](unsigned int i) { return one->getScheduleEntry(i); };
    auto const add = [&](nk_messageScheduleEntry const& entry) {
      copy->addScheduleEntry(entry.id(), entry.name(), entry.duration(), entry.imageId(), false);
    };
    // The checksum of the older versions keeps the entries in the order that they have.
    if (version >= nk_message::VERSION_2) {
      for (auto const* entry : byId(one->count(), at)) add(*entry);
    } else {
      for (unsigned int i = 0; i < one->count(); ++i) add(*at(i));
    }
  }
  return ordered.checksum(version);
}
