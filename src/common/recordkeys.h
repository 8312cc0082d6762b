#pragma once

#include <optional>

class QKeyEvent;

enum class RecordMove { First, Previous, Next, Last };

/// What a key does in a window that shows one record after the other: Home, End, the arrows and
/// the page keys; Ctrl goes all the way.
std::optional<RecordMove> recordMove(const QKeyEvent &key);
