/* Reads with libldb, whose results are lists of its own objects.
   Usage: libldb URI BASE FILTER */

#include "figures.h"

#include <ldb.h>
#include <stdlib.h>
#include <talloc.h>

int main(int count, char** arguments)
{
    if (count != 4)
    {
        return EXIT_FAILURE;
    }
    struct ldb_context* ldb = ldb_init(NULL, NULL);
    if (ldb == NULL || ldb_connect(ldb, arguments[1], LDB_FLG_RDONLY, NULL) != LDB_SUCCESS)
    {
        fprintf(stderr, "libldb: no connection to %s\n", arguments[1]);
        talloc_free(ldb);
        return EXIT_FAILURE;
    }

    const struct Start start = startReading();
    struct ldb_result* result = NULL;
    const int code = ldb_search(ldb, ldb, &result, ldb_dn_new(ldb, ldb, arguments[2]), LDB_SCOPE_SUBTREE,
                                NULL, "%s", arguments[3]);
    if (code == LDB_SUCCESS)
    {
        printReading(start, result->count);
    }
    else
    {
        fprintf(stderr, "libldb: %s\n", ldb_errstring(ldb));
    }
    talloc_free(ldb);
    return code == LDB_SUCCESS ? EXIT_SUCCESS : EXIT_FAILURE;
}
