#include <kvr/EKVRError.h>
#include <kvr/IKVRCore.h>

namespace KVR
{

namespace
{

[[noreturn]] void throwReserved(const char* function, unsigned long line)
{
    throw EKVRInternalError("Reserved host operation called.", "", __FILE__, function, line);
}

} // namespace

// clang-format off
void IKVRCore::Reserved00() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved04() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved05() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved06() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved07() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved08() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved09() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved10() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved11() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved12() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved13() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved14() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved15() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved16() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved17() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved18() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved19() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved20() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved21() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved22() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved23() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved24() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved25() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved26() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved27() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved28() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved29() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved30() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved31() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved32() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved33() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved34() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved35() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved36() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved38() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved40() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved41() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved42() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved43() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved44() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved45() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved46() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved47() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved48() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved49() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved51() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved52() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved53() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved54() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved55() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved56() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved57() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved58() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved59() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved60() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved61() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved62() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved63() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved64() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved65() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved66() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved67() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved68() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved72() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved73() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved74() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved75() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved76() { throwReserved(__func__, __LINE__); }
void IKVRCore::Reserved77() { throwReserved(__func__, __LINE__); }
// clang-format on

} // namespace KVR
