// What libldap itself loses: a notice and its text, and the answer and the places of a referral that it does
// not follow. It is told by the calls that it comes from, which takes whole stacks.

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the sanitizer looks for these names
extern "C"
{
    __attribute__((visibility("default"))) const char* __lsan_default_suppressions()
    {
        return "leak:ber_scanf\nleak:ldap_alloc_ber_with_options\n";
    }

    __attribute__((visibility("default"))) const char* __asan_default_options()
    {
        return "fast_unwind_on_malloc=0";
    }
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
