#pragma once

namespace zeva {

// Registers every model class under its name, so that archives can name any
// of them. Idempotent; the unarchiver calls it before reading.
void registerModelClasses();

}  // namespace zeva
