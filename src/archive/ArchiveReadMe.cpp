#include "archive/ArchivePlaces.h"

namespace nookery::archive {

// Every archive of this format has exactly this text, with its one displaced line.
const std::string_view readMeText =
    R"text(INDEPENDENT COLLECTION ARCHIVE — FORMAT 1

Originals/ contains preserved, ordinary files from the managed collection.
ExternalOriginals/ contains copies of any linked originals outside managed storage.
Collection.json contains the item records, descriptions, sourceItemID lineage,
group relationships and portable paths via exportedOriginal.
Data/crumb.sqlite3 is a consistent SQLite snapshot for advanced recovery,
Data/Coffer/coffer.sqlite3 preserves receipt records when present.
Receipts/Originals/ contains copies of managed receipt originals.
including auxiliary tables and other application-specific relationships.
Data/local-state.json contains base64-encoded non-secret local metadata.
Collection.json files[] lists SHA-256 digests and file sizes for checking integrity.

This archive is INDEPENDENT of Crumb. Its originals and JSON can be read with
standard tools. An automated import into a new Crumb installation is NOT yet
provided or tested. Do not delete your original library after exporting.
The export contains private personal content: store and share with care.)text";

}  // namespace nookery::archive
