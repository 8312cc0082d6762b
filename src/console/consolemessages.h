#pragma once

#include "consolerun.h"

#include <QString>

ExitStatus listMessages(const ProgramFolder &folder, bool json);
/// Sends the message, a number or an exact, unique subject, unpersonalised to `address`.
ExitStatus testSend(const ProgramFolder &folder, const QString &message, const QString &address);
