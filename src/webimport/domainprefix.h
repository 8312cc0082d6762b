#pragma once

#include <QString>

#include <optional>

/// The HTML document with every relative `src` made absolute, so that its pictures are found from
/// a mail as well: a document of `address` (encoded, http or https) asks for them there, or where
/// its `base` says. Nothing else of it changes.
///
/// What has a scheme of its own (http:, data:, cid:, ...), "#..." and what begins with a merge
/// field stays as it is. Comments and the insides of scripts and styles are no tags; what a
/// conditional comment holds is, since a mail program may show it.
///
/// Nothing when the result would be very much larger than any document that can be fetched.
std::optional<QString> withDomainPrefix(const QString &document, const QString &address);
