#include "sandbox/control/Recorder.h"

namespace sandbox {

std::uint64_t Recorder::arrived(RequestRecord record)
{
    const std::lock_guard lock(m_mutex);
    m_records.push_back(std::move(record));
    if (m_records.size() > capacity) {
        m_records.pop_front();
        ++m_firstId;
    }
    return m_firstId + m_records.size() - 1;
}

void Recorder::answered(std::uint64_t id, int status)
{
    const std::lock_guard lock(m_mutex);
    // The record may have been dropped or cleared in the meantime.
    if (id >= m_firstId && id - m_firstId < m_records.size())
        m_records[std::size_t(id - m_firstId)].status = status;
}

void Recorder::clear()
{
    const std::lock_guard lock(m_mutex);
    m_firstId += m_records.size();
    m_records.clear();
}

Json Recorder::requests(bool all) const
{
    const std::lock_guard lock(m_mutex);
    Json list = Json::array();
    for (std::size_t i = 0; i < m_records.size(); ++i) {
        const RequestRecord& record = m_records[i];
        if (!all && !record.api)
            continue;
        // Lists of pairs, not objects: the order and repeated names are part of what was received.
        Json query = Json::array();
        for (const auto& [key, value] : record.query)
            query.push_back(Json::array({key, value}));
        Json headers = Json::array();
        for (const auto& [name, value] : record.headers)
            headers.push_back(Json::array({name, value}));
        list.push_back({{"id", m_firstId + i},
                        {"at_ms", record.atMs},
                        {"method", record.method},
                        {"target", record.target},
                        {"endpoint", record.endpoint},
                        {"query", std::move(query)},
                        {"headers", std::move(headers)},
                        {"status", record.status}});
    }
    return {{"requests", std::move(list)}};
}

Json Recorder::reports() const
{
    const std::lock_guard lock(m_mutex);
    Json list = Json::array();
    for (const RequestRecord& record : m_records) {
        if (record.endpoint.compare(0, 21, "track/reportStreaming") != 0)
            continue;
        Json items = Json::object();
        for (const auto& [key, value] : record.query)
            items[key] = value;
        list.push_back({{"endpoint", record.endpoint},
                        {"at_ms", record.atMs},
                        {"status", record.status},
                        {"items", std::move(items)}});
    }
    return {{"reports", std::move(list)}};
}

} // namespace sandbox
