#include "collection/database/CollectionStatements.h"
#include "collection/database/SQLiteDatabase.h"
#include "foundation/SqliteStatement.h"

namespace nookery {

std::vector<CrumbGroup> SQLiteDatabase::loadGroups() {
    std::vector<CrumbGroup> groups;
    SqliteStatement rows(connection_, sqlOf(CollectionStatement::loadGroups));
    while (rows.step()) {
        if (const auto id = rows.uuid(0)) groups.push_back({*id, rows.string(1), rows.date(2)});
    }
    return groups;
}

void SQLiteDatabase::saveGroup(const CrumbGroup& group, Timestamp now) {
    SqliteStatement save(connection_, sqlOf(CollectionStatement::saveGroup));
    save.with(group.id, group.name, group.createdAt, now).run();
}

void SQLiteDatabase::deleteGroup(const Uuid& id, const RecoveryPoint&) {
    SqliteTransaction transaction(connection_);
    for (const auto statement :
         {CollectionStatement::ungroupItems, CollectionStatement::deleteGroup}) {
        SqliteStatement(connection_, sqlOf(statement)).with(id).run();
    }
    transaction.commit();
}

}  // namespace nookery
