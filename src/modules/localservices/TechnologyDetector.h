#pragma once

#include "modules/localservices/LocalService.h"

#include <QString>

#include <optional>

namespace tessary {

// Names what a listening process is from its short command name, its arguments and the package.json
// of its working folder. The first rule that matches wins; see detect().
namespace TechnologyDetector {

// In order: framework phrases in the arguments ("manage.py runserver", "artisan serve",
// "rails server", "php -S", "rails s"); the first word of the tool table found among the argument
// words; a dependency of package.json; a database by command prefix; a container engine; a language
// runtime; else the command itself, of kind unknown. Command and arguments are compared in lower case.
Technology detect(const QString& command, const std::optional<QString>& arguments,
                  const std::optional<QString>& packageJSON);

} // namespace TechnologyDetector

} // namespace tessary
