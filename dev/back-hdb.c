/*
 * back_hdb: a module for slapd 2.5 and later that registers the stock mdb backend under the type
 * "hdb", so that the database entry olcDatabase={1}hdb,cn=config exists on servers that have lost
 * the true back-hdb.
 *
 * slapd keeps its headers to itself. None is needed: the type is the first member of the backend's
 * record, and slapd exports backend_info(), which finds the record. Renaming it concerns this one
 * slapd process; all its mdb databases are of type hdb then.
 */
#include <dlfcn.h>
#include <stdio.h>

#ifndef MDB_MODULE
#define MDB_MODULE "/usr/lib/ldap/back_mdb.so"
#endif

struct backend_info_head
{
    const char* type;
};

struct backend_info_head* backend_info(const char* type);
int init_module(int argc, char* argv[]);

int init_module(int argc, char* argv[])
{
    (void)argc;
    (void)argv;

    /* Never closed: the backend's functions stay in use until the process ends. */
    void* module = dlopen(MDB_MODULE, RTLD_NOW | RTLD_LOCAL);
    void* symbol = module ? dlsym(module, "init_module") : NULL;
    if (!symbol)
    {
        fprintf(stderr, "back_hdb: %s\n", dlerror());
        return -1;
    }

    int (*init)(int, char**) = NULL;
    *(void**)&init = symbol;
    struct backend_info_head* backend = init(0, NULL) ? NULL : backend_info("mdb");
    if (!backend)
    {
        fprintf(stderr, "back_hdb: %s registers no backend of type mdb\n", MDB_MODULE);
        return -1;
    }
    backend->type = "hdb";
    return 0;
}
