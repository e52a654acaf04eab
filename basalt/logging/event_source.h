#ifndef BASALT_LOGGING_EVENT_SOURCE_H
#define BASALT_LOGGING_EVENT_SOURCE_H

namespace basalt {

// The event log source under which every log object and message library reports.
inline constexpr char eventSourceName[] = "Corvane OLAP Client";

} // namespace basalt

#endif
