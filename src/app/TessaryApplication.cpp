#include "app/TessaryApplication.h"

namespace tessary {

TessaryApplication::TessaryApplication(int& argc, char** argv)
    : QApplication(argc, argv) {
    setOrganizationName(QStringLiteral("Tessary"));
    setApplicationName(QStringLiteral("Tessary"));
    setApplicationVersion(QStringLiteral(TESSARY_VERSION));
    setDesktopFileName(QStringLiteral("tessary"));
    setQuitOnLastWindowClosed(false);
}

} // namespace tessary
