package harlune;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.params.provider.Arguments.arguments;

import harlune.support.Bridge;
import harlune.support.Ck;
import harlune.support.ScriptedModule;

import java.nio.charset.StandardCharsets;
import java.util.List;
import java.util.Set;
import java.util.stream.Stream;

import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.Arguments;
import org.junit.jupiter.params.provider.MethodSource;

import velnor.Mechanism;
import velnor.Version;
import velnor.nat.NativeCryptoki;
import velnor.nat.NativeSession;
import velnor.params.EXTRACTParams;
import velnor.params.KEYDERIVATIONSTRINGDATA;
import velnor.params.KEYWRAPSETOAEPParams;
import velnor.params.KeaDeriveParams;
import velnor.params.MACGENERALParams;
import velnor.params.OAEPParams;
import velnor.params.PBEParams;
import velnor.params.RC2CBCParams;
import velnor.params.RC2MACGENERALParams;
import velnor.params.RC2Params;
import velnor.params.RC5CBCParams;
import velnor.params.RC5MACGENERALParams;
import velnor.params.RC5Params;
import velnor.params.SKIPJACKPRIVATEWRAPParams;
import velnor.params.SKIPJACKRELAYXParams;
import velnor.params.SSL3KEYMATOUT;
import velnor.params.SSL3KEYMATParams;
import velnor.params.SSL3MASTERKEYDERIVEParams;
import velnor.params.SSL3RANDOMDATA;

/** What of a Java parameter a module gets to see, argument by argument of every constructor. */
class MechanismParametersTest {
    /**
     * What -Xcheck:jni cannot take: a version is read byte by byte out of its ints, which ends the JVM, and after
     * booleanValue nobody asks for an exception, which it warns of.
     */
    private static final Set<Object> NOT_FOR_CHECKING = Set.of(0x371, 0x372, 0x1011);

    private static NativeCryptoki cryptoki;
    private static NativeSession session;

    @BeforeAll
    static void bind() {
        ScriptedModule.reset();
        cryptoki = Bridge.initialize(ScriptedModule.PATH);
        session = cryptoki.GetSlotList(true)[0].J_OpenSession(Ck.CKF_SERIAL_SESSION);
    }

    @AfterAll
    static void release() {
        cryptoki.Finalize(null);
    }

    private static byte[] bytes(String text) {
        return text.getBytes(StandardCharsets.US_ASCII);
    }

    private static char[] chars(String text) {
        return text.toCharArray();
    }

    static Stream<Arguments> parameters() {
        SSL3RANDOMDATA random = new SSL3RANDOMDATA(bytes("client"), bytes("server's"));
        return Stream.of(
                arguments(0x220, null, "0x220"),
                arguments(0x220, "ignored", "0x220"),
                arguments(0x1085, bytes("AES has no room for its IV"), "0x1085"),
                arguments(0x133, bytes("12345678 and more"), "0x133 parameter=8:\"12345678\""),
                arguments(0x222, new MACGENERALParams(10), "0x222 parameter=8:0A00000000000000"),
                arguments(0x222, new MACGENERALParams(-1), "0x222 parameter=8:FFFFFFFFFFFFFFFF"),
                arguments(0x101, new RC2Params(1024), "0x101 parameter=8:0004000000000000"),
                arguments(0x102, new RC2CBCParams(1024, bytes("12345678+")),
                        "0x102 parameter=16:00040000000000003132333435363738"),
                arguments(0x104, new RC2MACGENERALParams(1024, 5),
                        "0x104 parameter=16:00040000000000000500000000000000"),
                arguments(0x331, new RC5Params(4, 12), "0x331 parameter=16:04000000000000000C00000000000000"),
                arguments(0x332, new RC5CBCParams(4, 12, bytes("vector")),
                        "0x332 parameter=32:{wordsize=4 rounds=12 iv=\"vector\"}"),
                arguments(0x334, new RC5MACGENERALParams(4, 12, 5),
                        "0x334 parameter=24:04000000000000000C000000000000000500000000000000"),
                arguments(0x9, new OAEPParams(0x220, 1, 2, bytes("source")),
                        "0x9 parameter=40:{hashAlg=0x220 mgf=0x1 source=0x2 sourceData=\"source\"}"),
                arguments(0x9, new OAEPParams(0x220, 1, 0, null),
                        "0x9 parameter=40:{hashAlg=0x220 mgf=0x1 source=0x0 sourceData=null:0}"),
                arguments(0x401, new KEYWRAPSETOAEPParams((byte) 0x83, bytes("hash")),
                        "0x401 parameter=24:{bBC=0x83 x=\"hash\"}"),
                // Characters are 16-bit units for the module, within a length that counts characters.
                arguments(0x3A0, new PBEParams(chars("12345678"), chars("pa"), chars("salt"), 1000),
                        "0x3A0 parameter=48:{initVector=3100320033003400 password=7000 salt=73006100 iteration=1000}"),
                arguments(0x3AB, new PBEParams(null, chars("pa"), chars("salt"), 1),
                        "0x3AB parameter=48:{initVector=null:0 password=7000 salt=73006100 iteration=1}"),
                arguments(0x362, new KEYDERIVATIONSTRINGDATA(bytes("data")), "0x362 parameter=16:{data=\"data\"}"),
                arguments(0x365, new EXTRACTParams(21), "0x365 parameter=8:1500000000000000"),
                arguments(0x371, new SSL3MASTERKEYDERIVEParams(new Version(0x104, 0x103), random),
                        "0x371 parameter=40:{clientRandom=\"client\" serverRandom=\"server's\" version=3.4}"),
                // Of the random data the module gets the lengths; zeroes stand for the bytes.
                arguments(0x372, new SSL3KEYMATParams(
                        new SSL3KEYMATOUT(1, 2, 3, 4, bytes("ivClient+"), bytes("ivServer")), random, true, 128, 160,
                        64),
                        "0x372 parameter=72:{macSizeInBits=160 keySizeInBits=128 ivSizeInBits=64 isExport=1 "
                                + "clientRandom=000000000000 serverRandom=0000000000000000 "
                                + "returned={clientMacSecret=0x2 serverMacSecret=0x4 clientKey=0x1 serverKey=0x3 "
                                + "ivClient=\"ivClient\" ivServer=\"ivServer\"}}"),
                arguments(0x372, new SSL3KEYMATParams(
                        new SSL3KEYMATOUT(1, 2, 3, 4, null, null), random, false, 128, 160, 0),
                        "0x372 parameter=72:{macSizeInBits=160 keySizeInBits=128 ivSizeInBits=0 isExport=0 "
                                + "clientRandom=000000000000 serverRandom=0000000000000000 "
                                + "returned={clientMacSecret=0x2 serverMacSecret=0x4 clientKey=0x1 serverKey=0x3 "
                                + "ivClient=null:0 ivServer=null:0}}"),
                arguments(0x1009, new SKIPJACKPRIVATEWRAPParams(bytes("password"), bytes("public"), bytes("random"),
                        bytes("prime"), bytes("based"), bytes("subprime")),
                        "0x1009 parameter=88:{password=\"password\" publicData=\"public\" randomA=\"random\" "
                                + "primeP=\"prime\" baseG=\"based\" subprimeQ=\"subprime\"}"),
                arguments(0x100A, new SKIPJACKRELAYXParams(bytes("x"), bytes("op"), bytes("od"), bytes("or"),
                        bytes("np"), bytes("nd"), bytes("nr")),
                        "0x100A parameter=112:{oldWrappedX=\"x\" oldPassword=\"op\" oldPublicData=\"od\" "
                                + "oldRandomA=\"or\" newPassword=\"np\" newPublicData=\"nd\" newRandomA=\"nr\"}"),
                arguments(0x1011, new KeaDeriveParams(true, bytes("aaa"), bytes("bbb"), bytes("public")),
                        "0x1011 parameter=48:{isSender=1 randomA=\"aaa\" randomB=\"bbb\" publicData=\"public\"}"),
                arguments(0x1011, new KeaDeriveParams(false, bytes("aaa"), bytes("bbb"), bytes("public")),
                        "0x1011 parameter=48:{isSender=0 randomA=\"aaa\" randomB=\"bbb\" publicData=\"public\"}"))
                .filter(row -> !Boolean.getBoolean("harlune.check-jni") || !NOT_FOR_CHECKING.contains(row.get()[0]));
    }

    @ParameterizedTest
    @MethodSource("parameters")
    void reachesTheModule(int mechanism, Object parameter, String seen) {
        ScriptedModule.clearJournal();
        ScriptedModule.answer("C_SignInit CKR_OK");
        session.J_SignInit(session.sessionHandle(), new Mechanism(mechanism, parameter), 0xB03);
        assertEquals(List.of("C_SignInit session=0x5E51 mechanism=" + seen + " key=0xB03 -> CKR_OK"),
                ScriptedModule.journal());
    }
}
