// Fields of the server model owned by the bottleneck analysis.
#pragma once

// X(type, name, initial value); the types are those of core/model.h.
#define TARNEX_RULE_FIELDS(X)
