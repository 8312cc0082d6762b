#pragma once

#include <array>
#include <string>

/// The seven fields that a recipient comes and goes with, in files and between lists: address,
/// first name, last name, title, contact, company, memo. Text is UTF-8, as in the database, since
/// a million of them pass through without being looked at.
using RecipientRecord = std::array<std::string, 7>;
