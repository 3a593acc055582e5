#pragma once

#include <QString>

namespace tessary::GitHubLabels {

// "<short repository>#<number>": "web#12" for "owner/web" and 12.
inline QString label(const QString& repository, int number) {
    return repository.mid(repository.lastIndexOf(u'/') + 1) + u'#' + QString::number(number);
}

} // namespace tessary::GitHubLabels
