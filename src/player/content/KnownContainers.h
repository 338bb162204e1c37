#pragma once

#include "api/types/pelkroles.h"

#include <QCache>
#include <QMutex>
#include <QVector>

/// Remembers what containers are called and look like from the rows that led to them, the latest of them:
/// the content model has a node for few, and the tracks of an album say neither its title nor its cover. Any
/// thread.
class KnownContainers
{
public:
    static constexpr int most = 2000;

    /// Remembers the containers among the rows.
    void add(const QVector<PelkRoles>& rows);
    /// What is known of a container: title, icon, kind and whether it plays. An empty row when nothing is.
    PelkRoles find(const CMPath& path) const;

    /// A row out of a container, with the title and the cover of the album that it came from where it has
    /// none of its own.
    static PelkRoles completed(const PelkRoles& row, const PelkRoles& container);

private:
    mutable QMutex m_mutex;
    mutable QCache<CMPath, PelkRoles> m_rows{most}; // reading one makes it the latest
};
