#pragma once

#include "mailhost.h"
#include "smtpreply.h"

#include <curl/curl.h>

/// Why a session with `host` could not be opened, as a sentence for the operator.
/// @param easy       the handle that failed with `code`
/// @param lastReply  what the server said last; without code when it said nothing
QString openingFault(const MailHost &host, CURL *easy, CURLcode code, const SmtpReply &lastReply);
