#ifndef QUARN_C_H
#define QUARN_C_H

/* The calculator for programs in C, and for all that can call C. docs/embedding.md shows how.
 *
 * Every operation that can fail returns a status; then quarn_error tells why. A failed one leaves its results as they
 * were.
 *
 * Texts end in '\0'. Those that are passed in are only read during the call, and a null pointer is an empty one. Texts
 * and numbers that are handed out belong to the state and hold until the next call with it or one of its formulas.
 * Pointers to results must not be null.
 *
 * One thread at a time may use a state and its formulas, but for quarn_cancel. Different states are independent. */

#include <stddef.h>

#if defined(QUARN_SHARED) && defined(__GNUC__)
#define QUARN_C_API __attribute__((visibility("default")))
#else
#define QUARN_C_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The version of this interface. A greater one has more; what there is stays as it is. */
#define QUARN_C_VERSION 1
/* The same of the library that is linked. */
QUARN_C_API unsigned quarn_c_version(void);

typedef enum quarn_status {
    QUARN_OK,
    QUARN_TEXT,         /* the text is no expression */
    QUARN_UNKNOWN_NAME, /* a symbol or function that does not exist */
    QUARN_EVALUATION,   /* an operation, a function or a conversion failed, or a reference leads to itself */
    QUARN_STEP_LIMIT,   /* see quarn_limit */
    QUARN_TIME_LIMIT,
    QUARN_NESTING_LIMIT,
    QUARN_SIZE_LIMIT, /* a vector, a kept operation, or the text of a value is too large */
    QUARN_MEMORY_LIMIT,
    QUARN_CANCELLED, /* see quarn_cancel */
    QUARN_OUT_OF_MEMORY,
    QUARN_REPORTED /* a statement of a line has failed; what was written says why */
} quarn_status;

/* Symbols, functions and limits. */
typedef struct quarn_state quarn_state;
/* An expression that is parsed once and evaluated often. */
typedef struct quarn_formula quarn_formula;

/* Makes a state that knows numbers, vectors and references. To be freed by quarn_free; what its formulas need of it
 * stays until they are freed, too. */
QUARN_C_API quarn_status quarn_new(quarn_state** state);
QUARN_C_API void quarn_free(quarn_state* state);

/* Why the last call failed that did: a message, or several, one a line. Empty at first. */
QUARN_C_API const char* quarn_error(const quarn_state* state);
/* Where in the text the fault or the unknown name is, in bytes; QUARN_NOWHERE if the failure has no place in it. */
QUARN_C_API size_t quarn_error_position(const quarn_state* state);
#define QUARN_NOWHERE ((size_t)-1)

/* Takes `size` bytes of what a line reports, which do not end in '\0'. `host` is what came with the callback. It may
 * use the state; what a line reports that is run here is given to the callback of the line that reports, afterwards. */
typedef void (*quarn_write)(void* host, const char* text, size_t size);
/* Carries out the statements of a line, and has `write` take their reports, in order; null drops them. */
QUARN_C_API quarn_status quarn_run(quarn_state* state, const char* line, quarn_write write, void* host);

/* Each evaluates an expression, and follows references. Vectors of anything but numbers fit only into a text. */
QUARN_C_API quarn_status quarn_evaluate(quarn_state* state, const char* expression, double* number);
QUARN_C_API quarn_status quarn_evaluate_vector(quarn_state* state, const char* expression, const double** numbers,
                                               size_t* count);
/* The text that a console shows. */
QUARN_C_API quarn_status quarn_evaluate_text(quarn_state* state, const char* expression, const char** text);

/* Symbols by name. quarn_get gives a number; for any other value, evaluate the name. A reference is made by a line,
 * "area &= pi*r^2". */
QUARN_C_API quarn_status quarn_set(quarn_state* state, const char* name, double number);
QUARN_C_API quarn_status quarn_set_vector(quarn_state* state, const char* name, const double* numbers, size_t count);
QUARN_C_API quarn_status quarn_get(quarn_state* state, const char* name, double* number);
QUARN_C_API quarn_status quarn_erase(quarn_state* state, const char* name);

/* Takes one text of several. It may use the state. */
typedef void (*quarn_take)(void* host, const char* text);
/* All symbols in ascending order, the last result "_" included. */
QUARN_C_API quarn_status quarn_names(quarn_state* state, quarn_take take, void* host);

/* What may stand at a position of a line that is being typed, in ascending order. Each text replaces the bytes from
 * `begin` to the position. */
QUARN_C_API quarn_status quarn_complete(quarn_state* state, const char* line, size_t position, size_t* begin,
                                        quarn_take take, void* host);
/* What the last statement of a line would give, were the line carried out; empty if it gives nothing. Changes nothing,
 * calls only pure functions, and fails when the time is over. */
QUARN_C_API quarn_status quarn_preview(quarn_state* state, const char* line, double seconds, const char** text);

typedef enum quarn_purity {
    QUARN_IMPURE, /* called whenever it is evaluated */
    QUARN_PURE    /* the result depends on the arguments alone, and nothing changes: may be called less often, and
                     once more after a failure */
} quarn_purity;
#define QUARN_MOST_PARAMETERS 8
/* Sets `result` to the value of a function, or returns a failure: that of a call with the state, which is passed on, or
 * quarn_fail(state, "..."). It must not free the state. */
typedef quarn_status (*quarn_function)(quarn_state* state, void* host, const double* arguments, size_t count,
                                       double* result);
/* Defines a function of so many numbers, 0 to QUARN_MOST_PARAMETERS, and replaces one of as many. `host` must outlive
 * the state. */
QUARN_C_API quarn_status quarn_define(quarn_state* state, const char* name, size_t parameters, quarn_purity purity,
                                      quarn_function function, void* host);
/* Makes the message that of the last failure. Returns QUARN_EVALUATION. */
QUARN_C_API quarn_status quarn_fail(quarn_state* state, const char* message);

typedef enum quarn_limited {
    QUARN_STEPS, /* operands, operators, elements of vectors and the like */
    QUARN_SECONDS,
    QUARN_LEVELS, /* of nesting; 1000 at first */
    QUARN_STACK,  /* bytes of the stack that the thread has left: sets QUARN_LEVELS to what they have room for */
    QUARN_MEMORY  /* bytes, of all symbols together */
} quarn_limited;
/* What a line or an evaluation may take. INFINITY, but for levels, is no limit, as at first. */
QUARN_C_API quarn_status quarn_limit(quarn_state* state, quarn_limited limited, double most);
/* Stops what is being evaluated, and fails all evaluations and lines until it is called with 0. May be called from any
 * thread and from signal handlers. */
QUARN_C_API void quarn_cancel(quarn_state* state, int isCancelled);

/* Makes a formula, to be freed by quarn_formula_free. Faults of its text show when it is checked or evaluated. */
QUARN_C_API quarn_status quarn_formula_new(quarn_state* state, const char* expression, quarn_formula** formula);
QUARN_C_API void quarn_formula_free(quarn_formula* formula);
/* Fails with the first fault of the text. Evaluates nothing; an unknown symbol is no fault, as it may come. */
QUARN_C_API quarn_status quarn_formula_check(quarn_formula* formula);
typedef enum quarn_named { QUARN_SYMBOLS, QUARN_FUNCTIONS } quarn_named;
/* The symbols, bound variables included, or the functions that the text names, in ascending order. */
QUARN_C_API quarn_status quarn_formula_names(quarn_formula* formula, quarn_named named, quarn_take take, void* host);
/* Has a name stand for a number of the host, which the formula reads whenever it is evaluated. Fails for a name that no
 * symbol may have. */
QUARN_C_API quarn_status quarn_formula_bind(quarn_formula* formula, const char* name, const double* number);
QUARN_C_API quarn_status quarn_formula_evaluate(quarn_formula* formula, double* number);
/* Values of a variable, one for each evaluation. */
typedef struct quarn_values {
    const char* name;
    const double* numbers;
} quarn_values;
/* Evaluates it `count` times, with the values of all variables that have the same index. The numbers may take the place
 * of values. Ends at the first failure; the numbers before it are there. Afterwards the variables keep their last
 * values, until they are bound again. */
QUARN_C_API quarn_status quarn_formula_evaluate_each(quarn_formula* formula, double* numbers, size_t count,
                                                     const quarn_values* variables, size_t variableCount);

#ifdef __cplusplus
}
#endif

#endif
