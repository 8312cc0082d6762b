#pragma once

#include <QString>

/// The HTML document with every relative `src` made absolute, so that its pictures are found from
/// a mail as well: a document of `address` (encoded, http or https) asks for them there, or where
/// its `base` says. Nothing else of it changes.
///
/// What has a scheme of its own (http:, data:, cid:, ...), "#..." and what begins with a merge
/// field stays as it is. Comments and the insides of scripts and styles are no tags; what a
/// conditional comment holds is, since a mail program may show it.
QString withDomainPrefix(const QString &document, const QString &address);
