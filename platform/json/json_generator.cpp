#include "platform/json/json_generator.h"

JSON_Generator::~JSON_Generator() = default;
