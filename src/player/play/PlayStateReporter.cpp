#include "player/play/PlayStateReporter.h"

#include "api/core/model/cmabstractworker.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"

void PlayStateReporter::begin(const PelkRoles& row)
{
    Q_ASSERT(!m_current);
    m_current = true;
    {
        const QMutexLocker locker(&m_mutex);
        m_data = PelkPlayLogicData();
        m_data.setTrackRoles(row);
    }
    tell(PelkPlayLogicState::Opening, QString());
}

void PlayStateReporter::change(PelkPlayLogicState::Enum state)
{
    if (m_current && data().state() != state)
        tell(state, QString());
}

void PlayStateReporter::replace(const PelkRoles& row)
{
    const QMutexLocker locker(&m_mutex);
    m_data.setTrackRoles(row);
}

void PlayStateReporter::breakOff(const QString& error)
{
    if (!m_current)
        return;
    end(error);
    PelkPlayLogicData plain = data();
    plain.setError(QString());
    send(plain);
}

void PlayStateReporter::end(const QString& error)
{
    if (!m_current)
        return;
    m_current = false;
    tell(PelkPlayLogicState::Stopped, error);
}

PelkPlayLogicData PlayStateReporter::data() const
{
    const QMutexLocker locker(&m_mutex);
    return m_data;
}

void PlayStateReporter::tell(PelkPlayLogicState::Enum state, const QString& error)
{
    PelkPlayLogicData told;
    {
        const QMutexLocker locker(&m_mutex);
        m_data.setState(state);
        m_data.setError(error);
        told = m_data;
    }
    send(told);
}

void PlayStateReporter::send(const PelkPlayLogicData& told)
{
    const CMPath path = told.trackRoles().mediaData().metaData().contentStateChangePath();
    // Not every service wants to know.
    if (path.isEmpty())
        return;
    const CMSetDataRequest request(path, PelkRoles::Value(), told.variant());
    m_lastReply = request.reply();
    CMRoot()->setDataRequest(request);
}
