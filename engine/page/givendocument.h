#pragma once

#include "engine/devtools/session.h"

/// Answers the browser's requests for one document with a given content, instead of its server or file.
class GivenDocument
{
public:
    explicit GivenDocument(Session &session) : m_session(session) {}

    /// From now on answers requests for the document at `url`. `interception` are the parameters of
    /// Fetch.enable as needed so far, empty for none; returns those to use. Requests for others are left to
    /// the handler of Fetch.requestPaused until now, or continued.
    QJsonObject begin(const QString &url, const QByteArray &content, const QJsonObject &interception);

private:
    Session &m_session;
    Session::Handler m_others;
};
