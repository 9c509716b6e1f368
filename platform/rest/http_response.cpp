#include "platform/rest/http_response.h"

HTTP_Response::~HTTP_Response() = default;
