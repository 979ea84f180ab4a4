// Fields of the server model owned by the system inventory.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_INVENTORY_FIELDS(X)
