#pragma once

#include "api/types/pelkroles.h"

#include <QCache>
#include <QMutex>
#include <QVector>

/// Caches titles and icons of containers from the rows in which they were listed. Few containers have a node
/// in the content model, and the tracks of an album contain neither its title nor its cover. Any thread.
class KnownContainers
{
public:
    static constexpr int most = 2000;

    /// Remembers the containers among the rows.
    void add(const QVector<PelkRoles>& rows);
    /// The cached title, icon, kind and playable flag of a container; an empty row if it is unknown.
    PelkRoles find(const CMPath& path) const;

    /// A row of a container, completed with the title and the cover of its album.
    static PelkRoles completed(const PelkRoles& row, const PelkRoles& container);

private:
    mutable QMutex m_mutex;
    mutable QCache<CMPath, PelkRoles> m_rows{most}; // reading one makes it the latest
};
