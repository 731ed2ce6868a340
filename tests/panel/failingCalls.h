#pragma once

#include <string>

/// System calls of this program on files, one of which can be made to fail. Bytes that are synced
/// are not waited for: what matters is which calls were made. One thread only.
namespace failingCalls {

/// Forgets what was noted, and lets call number `at` from now on fail with `error`.
void arm(unsigned int at, int error);
/// Lets no more calls fail; what was noted stays.
void disarm();
/// The name of the call that failed since arm(); empty if none did.
std::string const& failed();
/// Files that were renamed although the medium lacked some of their bytes, since arm().
unsigned int hastyRenames();
/// Does to the files what a loss of power might: takes back each renaming whose directory was not
/// synced afterwards, and appended bytes that were not synced.
void losePower();

}  // namespace failingCalls
