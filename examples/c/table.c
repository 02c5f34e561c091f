/* Prints a table of values of a formula, in C. The arguments are the formula, a function of x, and definitions that
 * come first: `table 'a*sin(x)+offset' 'a = 2; offset = 1'`. */

#include <quarn/c.h>
#include <stdio.h>

enum { Rows = 5 };

static void print(void* stream, const char* text, size_t size) { fwrite(text, 1, size, stream); }

/* A function of the host, for formulas. */
static quarn_status percent(quarn_state* state, void* unused, const double* arguments, size_t count, double* result) {
    (void)unused;
    (void)count;
    if (arguments[1] == 0) return quarn_fail(state, "percent of nothing");
    *result = 100 * arguments[0] / arguments[1];
    return QUARN_OK;
}

static void complain(const quarn_state* state, const char* text) {
    const size_t position = quarn_error_position(state);
    fprintf(stderr, "%s\n", text);
    if (position != QUARN_NOWHERE) fprintf(stderr, "%*s", (int)position + 2, "^ ");
    fprintf(stderr, "%s\n", quarn_error(state));
}

int main(int argumentCount, char** arguments) {
    const char* const text = argumentCount > 1 ? arguments[1] : "";
    double points[Rows] = {0, 0.5, 1, 1.5, 2};
    double values[Rows];
    quarn_values x = {"x", NULL};
    quarn_state* state = NULL;
    quarn_formula* formula = NULL;
    quarn_status status = quarn_new(&state);
    if (status != QUARN_OK) return 1;

    quarn_limit(state, QUARN_SECONDS, 1);
    quarn_define(state, "percent", 2, QUARN_PURE, percent, NULL);
    for (int i = 2; i < argumentCount && status == QUARN_OK; ++i)
        status = quarn_run(state, arguments[i], print, stdout);
    if (status == QUARN_OK) {
        x.numbers = points;
        status = quarn_formula_new(state, text, &formula);
        if (status == QUARN_OK) status = quarn_formula_check(formula);
        if (status == QUARN_OK) status = quarn_formula_evaluate_each(formula, values, Rows, &x, 1);
        if (status != QUARN_OK) complain(state, text);
    }
    for (int i = 0; i < Rows && status == QUARN_OK; ++i) printf("%g\t%g\n", points[i], values[i]);
    quarn_formula_free(formula);
    quarn_free(state);
    return status == QUARN_OK ? 0 : 1;
}
