#include "serverstate.h"

#include <QMutexLocker>

#include <utility>

ServerState::ServerState(ServerOptions options)
    : m_options(std::move(options))
{
    for (const ServerRule &rule : m_options.rules)
        m_usage.append({rule.skip, rule.times});
}

template <typename Meets>
const ServerRule *ServerState::nextRule(Meets meets)
{
    const ServerRule *winner = nullptr;
    for (qsizetype i = 0; i < m_usage.size(); ++i) {
        const ServerRule &rule = m_options.rules[i];
        if (!meets(rule))
            continue;
        Usage &usage = m_usage[i];
        if (usage.skip > 0) {
            --usage.skip;
        } else if (!winner && usage.times != 0) {
            if (usage.times > 0)
                --usage.times;
            winner = &rule;
        }
    }
    return winner;
}

const ServerRule *ServerState::ruleForLine(const QByteArray &line)
{
    return nextRule([&line](const ServerRule &rule) {
        return line.size() >= rule.command.size() &&
               qstrnicmp(line.constData(), rule.command.constData(), size_t(rule.command.size())) ==
                   0 &&
               line.contains(rule.text);
    });
}

const ServerRule *ServerState::ruleForMoment(const QByteArray &moment, const QByteArray &text)
{
    return nextRule(
        [&](const ServerRule &rule) { return rule.command == moment && text.contains(rule.text); });
}

int ServerState::beginSession()
{
    const QMutexLocker lock(&m_mutex);
    return ++m_sessions;
}

void ServerState::log(const QByteArray &line)
{
    if (m_options.store)
        return;
    const QMutexLocker lock(&m_mutex);
    m_transcript.append(line);
}

bool ServerState::take(const ReceivedMessage &message)
{
    if (m_options.store)
        return m_options.store(message);
    const QMutexLocker lock(&m_mutex);
    m_messages.append(message);
    return true;
}

QList<ReceivedMessage> ServerState::messages() const
{
    const QMutexLocker lock(&m_mutex);
    return m_messages;
}

QByteArrayList ServerState::transcript() const
{
    const QMutexLocker lock(&m_mutex);
    return m_transcript;
}

int ServerState::sessions() const
{
    const QMutexLocker lock(&m_mutex);
    return m_sessions;
}
