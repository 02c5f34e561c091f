/* A plugin that contains the library. It exports one function. */

#include <quarn/c.h>

__attribute__((visibility("default"))) double evaluate(const char* definition, const char* expression) {
    quarn_state* state = NULL;
    double number = 0;
    if (quarn_new(&state) != QUARN_OK) return 0;
    quarn_run(state, definition, NULL, NULL);
    quarn_evaluate(state, expression, &number);
    quarn_free(state);
    return number;
}
