#pragma once

namespace KVR
{

/** Kind of bind: 0 is an anonymous simple bind, any other value SASL GSSAPI. */
enum KVRAuthType : int
{
    KVRAuthAnonymous = 0,
    KVRAuthGssapi = 1
};

/** Scope of a search (RFC 4511, section 4.5.1.2); any other value is searched as a subtree. */
enum alSCOPE : int
{
    alSCOPE_BASE = 0,    /**< the base entry only */
    alSCOPE_ONE = 1,     /**< the direct children of the base */
    alSCOPE_SUB = 2,     /**< the base and everything below it */
    alSCOPE_CHILDREN = 3 /**< everything below the base, without the base */
};

/**
 * What to do with the values of one attribute. The values are the codes of the mode characters
 * that stand in front of attribute names in IKVRLdapConnection::UpdateDN. Any value that is none of
 * alADD, alREMOVE and alREMOVEALL replaces.
 */
enum alOPERATION : int
{
    alREMOVEALL = 33, /**< '!': remove; with no value, the whole attribute */
    alADD = 43,       /**< '+' */
    alREMOVE = 45,    /**< '-' */
    alREPLACE = 61    /**< '=' */
};

} // namespace KVR
