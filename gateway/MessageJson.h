#ifndef GATEWAY_MESSAGEJSON_H
#define GATEWAY_MESSAGEJSON_H

#include "gateway/Message.h"
#include "gateway/Report.h"

namespace gateway {

/** A message as a report shows it to machines: name, fields, and the text for a person. */
Report::Json toJson(Message const& message);

} // namespace gateway

#endif
