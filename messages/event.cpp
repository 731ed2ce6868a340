#include "nkProtocol/event.h"

#include <utility>

nk_messageEvent::nk_messageEvent(unsigned int timeFirst, unsigned int timeLast, unsigned int id,
                                 unsigned short type, tString eventMessage, unsigned char category,
                                 tStringList* subEvents, unsigned int occurrence, tString refImage)
    : m_timeFirst(timeFirst),
      m_timeLast(timeLast),
      m_id(id),
      m_type(type),
      m_eventMessage(std::move(eventMessage)),
      m_category(category),
      m_occurrence(occurrence),
      m_refImage(std::move(refImage)) {
  if (subEvents != nullptr) m_subEvents.add(*subEvents);
}
