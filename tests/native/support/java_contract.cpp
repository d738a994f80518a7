#include "java_model.h"

namespace jvm {

const char* const kContract = R"(
java/lang/Object
java/lang/Class
java/lang/Integer
  <init> (I)V
  intValue ()I
java/lang/Boolean
  <init> (Z)V
  booleanValue ()Z
java/lang/String
  <init> ([B)V
java/lang/System
  static out Ljava/io/PrintStream;
java/io/PrintStream
  print (Ljava/lang/String;)V
  println (Ljava/lang/String;)V

java/lang/Throwable
java/lang/OutOfMemoryError : java/lang/Throwable
java/lang/NoClassDefFoundError : java/lang/Throwable
java/lang/NoSuchFieldError : java/lang/Throwable
java/lang/NoSuchMethodError : java/lang/Throwable
java/lang/NegativeArraySizeException : java/lang/Throwable
java/lang/ArrayIndexOutOfBoundsException : java/lang/Throwable
java/lang/StringIndexOutOfBoundsException : java/lang/Throwable
velnor/CryptokiException : java/lang/Throwable
  <init> (Ljava/lang/String;ILjava/lang/String;)V

velnor/Version
  <init> (II)V m_minorVersion m_majorVersion
  m_majorVersion I
  m_minorVersion I
velnor/Info
  <init> (Lvelnor/Version;ILjava/lang/String;Lvelnor/Version;Ljava/lang/String;)V
velnor/SlotInfo
  <init> (Ljava/lang/String;Ljava/lang/String;ILvelnor/Version;Lvelnor/Version;)V
velnor/TokenInfo
  <init> (Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;IIIIIIIIIILvelnor/Version;Lvelnor/Version;Ljava/lang/String;)V
velnor/MechanismInfo
  <init> (III)V
velnor/SessionInfo
  <init> (IIII)V
velnor/Attribute
  <init> (ILjava/lang/Object;)V type value
  type I
  value Ljava/lang/Object;
velnor/CryptokiObject
  <init> (I[Lvelnor/Attribute;)V
velnor/Mechanism
  mechanism I
  parameter Ljava/lang/Object;

velnor/Slot
velnor/nat/NativeCryptoki
velnor/nat/NativeSlot : velnor/Slot
  <init> (I)V m_slotID
  m_slotID I
velnor/nat/NativeSession
  <init> (Lvelnor/Slot;I)V - m_sessionHandle
  m_sessionHandle J
velnor/nat/NativeObject
  <init> (Lquadrel/Pkcs11Session;I)V

velnor/params/MACGENERALParams
  m_parameter I
velnor/params/RC2Params
  parameter I
velnor/params/RC2CBCParams
  m_effectiveBits I
  m_iv [B
velnor/params/RC2MACGENERALParams
  m_effectiveBits I
  m_macLength I
velnor/params/RC5Params
  m_wordSize I
  m_rounds I
velnor/params/RC5CBCParams
  m_wordSize I
  m_rounds I
  m_iv [B
velnor/params/RC5MACGENERALParams
  m_wordSize I
  m_rounds I
  m_macLength I
velnor/params/OAEPParams
  m_hashAlg I
  m_mgf I
  m_source I
  m_sourceData [B
velnor/params/KEYWRAPSETOAEPParams
  m_bBC B
  m_xData [B
velnor/params/PBEParams
  m_initVector [C
  m_password [C
  m_salt [C
  m_iteration I
velnor/params/KEYDERIVATIONSTRINGDATA
  data [B
velnor/params/EXTRACTParams
  parameter I
velnor/params/SSL3MASTERKEYDERIVEParams
  m_version Lvelnor/Version;
  m_randomInfo Lquadrel/Pkcs11SSL3RANDOMDATA;
velnor/params/SSL3KEYMATParams
  returnedKeyMaterial Lquadrel/Pkcs11SSL3KEYMATOUT;
  randomInfo Lquadrel/Pkcs11SSL3RANDOMDATA;
  isExport Ljava/lang/Boolean;
  keySizeInBits I
  macSizeInBits I
  ivSizeInBits I
velnor/params/SSL3RANDOMDATA
  m_clientRandom [B
  m_serverRandom [B
  clientRandom [B
  serverRandom [B
velnor/params/SSL3KEYMATOUT
  hClientKey I
  hClientMacSecret I
  hServerKey I
  hServerMacSecret I
  ivClient [B
  ivServer [B
velnor/params/SKIPJACKPRIVATEWRAPParams
  m_password [B
  m_publicData [B
  m_randomA [B
  m_primeP [B
  m_baseG [B
  m_subPrimeQ [B
velnor/params/SKIPJACKRELAYXParams
  m_oldWrappedX [B
  m_oldPassword [B
  m_oldPublicData [B
  m_oldRandomA [B
  m_newPassword [B
  m_newPublicData [B
  m_newRandomA [B
velnor/params/KeaDeriveParams
  isSender Ljava/lang/Boolean;
  randomA [B
  randomB [B
  publicData [B
)";

}  // namespace jvm
