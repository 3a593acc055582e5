#pragma once

// Modules name their icons by system symbol names ("cpu", "checkmark.circle.fill"); the surfaces
// draw bundled line icons. This maps one to the other.

#include <QString>
#include <QStringList>

namespace tessary::SymbolCatalog {

// The bundled icon for a symbol name: an exact entry first, then the name with its last dotted
// part dropped ("xmark.circle.fill" -> "xmark.circle" -> "xmark"), then the fallback.
[[nodiscard]] QString iconName(const QString& symbolName);
// The icon drawn for a name the catalog doesn't know.
[[nodiscard]] QString fallbackIconName();
// Every icon the catalog can answer with, each once.
[[nodiscard]] QStringList bundledIconNames();
// Where an icon lives among the program's resources.
[[nodiscard]] QString resourcePath(const QString& iconName);

} // namespace tessary::SymbolCatalog
