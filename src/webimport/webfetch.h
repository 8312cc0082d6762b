#pragma once

#include <QString>

/// What a fetch of a document came to.
struct WebDocument {
    QString text;
    QString address; ///< where it was in the end, redirects followed, encoded, without a password
    QString failure; ///< why there is no document, in words for the operator; empty when there is
};

/// Fetches one document by its address. Nothing that the document refers to is fetched.
class WebFetch
{
public:
    virtual ~WebFetch() = default;
    /// `address`: as a person types it, with or without "http://". Window events run meanwhile.
    virtual WebDocument fetch(const QString &address) = 0;
    /// For calls during fetch(): it returns soon, with a failure.
    virtual void abort() = 0;
};
