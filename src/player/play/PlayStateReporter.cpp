#include "player/play/PlayStateReporter.h"

#include "api/core/model/cmabstractworker.h"
#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"

void PlayStateReporter::expect(const PelkRoles& row)
{
    Q_ASSERT(!m_current);
    const QMutexLocker locker(&m_mutex);
    m_data = PelkPlayLogicData();
    m_data.setTrackRoles(row);
    m_data.setState(PelkPlayLogicState::Opening);
    m_data.setError(QString());
}

void PlayStateReporter::begin(const PelkRoles& row)
{
    expect(row);
    m_current = true;
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
    if (m_current)
        tell(PelkPlayLogicState::Stopped, error);
    else if (data().state() == PelkPlayLogicState::Opening)
        set(PelkPlayLogicState::Stopped, error);
    m_current = false;
}

PelkPlayLogicData PlayStateReporter::data() const
{
    const QMutexLocker locker(&m_mutex);
    return m_data;
}

void PlayStateReporter::set(PelkPlayLogicState::Enum state, const QString& error)
{
    const QMutexLocker locker(&m_mutex);
    m_data.setState(state);
    m_data.setError(error);
}

void PlayStateReporter::tell(PelkPlayLogicState::Enum state, const QString& error)
{
    set(state, error);
    send(data());
}

void PlayStateReporter::send(const PelkPlayLogicData& told)
{
    const CMPath path = told.trackRoles().mediaData().metaData().contentStateChangePath();
    // Some services get no reports.
    if (path.isEmpty())
        return;
    const CMSetDataRequest request(path, PelkRoles::Value(), told.variant());
    m_lastReply = request.reply();
    CMRoot()->setDataRequest(request);
}
