package velnor;

import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Objects;
import java.util.Set;
import java.util.regex.Pattern;
import java.util.stream.Collectors;

import velnor.params.EXTRACTParams;
import velnor.params.KEYDERIVATIONSTRINGDATA;
import velnor.params.KEYWRAPSETOAEPParams;
import velnor.params.KeaDeriveParams;
import velnor.params.MACGENERALParams;
import velnor.params.MechanismParams;
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
import velnor.params.SSL3KEYMATParams;
import velnor.params.SSL3MASTERKEYDERIVEParams;

/**
 * Which mechanism takes which parameter. Native code reads a parameter by the mechanism alone and drops the one of any
 * other mechanism, so a mistake here would be foreign memory or a token that encrypts without what it was to use.
 */
final class MechanismParameters {
    private static final int IV_BYTES = 8;

    private static final Map<Integer, Class<?>> CLASSES = new HashMap<>();

    static {
        takes(byte[].class, CKM.DES_CBC, CKM.DES_CBC_PAD, CKM.DES3_CBC, CKM.DES3_CBC_PAD, CKM.CDMF_CBC,
                CKM.CDMF_CBC_PAD, CKM.CAST_CBC, CKM.CAST3_CBC, CKM.CAST128_CBC, CKM.CAST128_CBC_PAD, CKM.IDEA_CBC,
                CKM.IDEA_CBC_PAD);
        takes(MACGENERALParams.class, CKM.DES_MAC_GENERAL, CKM.DES3_MAC_GENERAL, CKM.CDMF_MAC_GENERAL,
                CKM.MD2_HMAC_GENERAL, CKM.MD5_HMAC_GENERAL, CKM.SHA_1_HMAC_GENERAL, CKM.RIPEMD128_HMAC_GENERAL,
                CKM.RIPEMD160_HMAC_GENERAL, CKM.CAST_MAC_GENERAL, CKM.CAST3_MAC_GENERAL, CKM.CAST128_MAC_GENERAL,
                CKM.IDEA_MAC_GENERAL, CKM.SSL3_MD5_MAC, CKM.SSL3_SHA1_MAC);
        takes(RC2Params.class, CKM.RC2_ECB, CKM.RC2_MAC);
        takes(RC2CBCParams.class, CKM.RC2_CBC, CKM.RC2_CBC_PAD);
        takes(RC2MACGENERALParams.class, CKM.RC2_MAC_GENERAL);
        takes(RC5Params.class, CKM.RC5_ECB, CKM.RC5_MAC);
        takes(RC5CBCParams.class, CKM.RC5_CBC, CKM.RC5_CBC_PAD);
        takes(RC5MACGENERALParams.class, CKM.RC5_MAC_GENERAL);
        takes(OAEPParams.class, CKM.RSA_PKCS_OAEP);
        takes(KEYWRAPSETOAEPParams.class, CKM.KEY_WRAP_SET_OAEP);
        takes(PBEParams.class, CKM.PBE_MD2_DES_CBC, CKM.PBE_MD5_DES_CBC, CKM.PBE_MD5_CAST_CBC, CKM.PBE_MD5_CAST3_CBC,
                CKM.PBE_MD5_CAST128_CBC, CKM.PBE_SHA1_CAST128_CBC, CKM.PBE_SHA1_RC4_128, CKM.PBE_SHA1_RC4_40,
                CKM.PBE_SHA1_DES3_EDE_CBC, CKM.PBE_SHA1_DES2_EDE_CBC, CKM.PBE_SHA1_RC2_128_CBC,
                CKM.PBE_SHA1_RC2_40_CBC);
        takes(KEYDERIVATIONSTRINGDATA.class, CKM.CONCATENATE_BASE_AND_DATA, CKM.CONCATENATE_DATA_AND_BASE,
                CKM.XOR_BASE_AND_DATA);
        takes(EXTRACTParams.class, CKM.EXTRACT_KEY_FROM_KEY);
        takes(SSL3MASTERKEYDERIVEParams.class, CKM.SSL3_MASTER_KEY_DERIVE);
        takes(SSL3KEYMATParams.class, CKM.SSL3_KEY_AND_MAC_DERIVE);
        takes(SKIPJACKPRIVATEWRAPParams.class, CKM.SKIPJACK_PRIVATE_WRAP);
        takes(SKIPJACKRELAYXParams.class, CKM.SKIPJACK_RELAYX);
        takes(KeaDeriveParams.class, CKM.KEA_KEY_DERIVE);
    }

    /**
     * The names of mechanisms that cannot do without a parameter. Without the one that native code does not pass on,
     * some tokens end the process (NSS: {@code CKM_AES_MAC_GENERAL}).
     */
    private static final Pattern NEED_ONE = Pattern.compile("CKM_(\\w+_(CBC\\d*|CBC_PAD|CTR|CTS|GCM|CCM|GMAC|CFB\\d+"
            + "|OFB\\d*|MAC_GENERAL|PSS|ENCRYPT_DATA|DERIVE|DERIVE_DH|DERIVE_DH_ECC|PRF)"
            + "|CONCATENATE_BASE_AND_KEY|PKCS5_PBKD2)");

    private static final Set<Integer> IMPOSSIBLE = CKM.all().stream()
            .filter(mechanism -> !CLASSES.containsKey(mechanism) && NEED_ONE.matcher(CKM.name(mechanism)).matches())
            .collect(Collectors.toSet());

    /** What to do instead, by a part of the mechanism's name. */
    private static final List<Map.Entry<String, String>> ADVICE = List.of(
            Map.entry("_PKCS_PSS", "encode the digest in the program and sign it with CKM_RSA_X_509, or use"
                    + " CKM_RSA_PKCS"),
            Map.entry("_ECDH", "an agreement cannot be computed through this library"),
            Map.entry("_AES_", "CKM_AES_ECB and the AES key wrapping need none"));

    private MechanismParameters() {
    }

    private static void takes(Class<?> parameter, int... mechanisms) {
        for (int mechanism : mechanisms) {
            CLASSES.put(mechanism, parameter);
        }
    }

    /**
     * Looks whether native code can take the mechanism as it is.
     *
     * @return the mechanism
     */
    static Mechanism check(Mechanism mechanism) {
        Objects.requireNonNull(mechanism, "mechanism");
        Object parameter = mechanism.parameter();
        Class<?> taken = CLASSES.get(mechanism.mechanism());
        if (taken == null && parameter != null) {
            String name = CKM.name(mechanism.mechanism());
            throw new IllegalArgumentException("The native library passes no parameter on for " + name + ": "
                    + advice(name, "use it without one, if the token allows, or another mechanism"));
        }
        if (IMPOSSIBLE.contains(mechanism.mechanism())) {
            String name = CKM.name(mechanism.mechanism());
            throw new IllegalArgumentException(name + " needs a parameter, and the native library passes none on: "
                    + advice(name, "use another mechanism"));
        }
        if (taken != null && !taken.isInstance(parameter)) {
            throw new IllegalArgumentException(CKM.name(mechanism.mechanism()) + " takes a parameter of "
                    + taken.getTypeName() + ", not "
                    + (parameter == null ? "null" : parameter.getClass().getTypeName()));
        }
        if (parameter instanceof byte[] && ((byte[]) parameter).length != IV_BYTES) {
            throw new IllegalArgumentException(CKM.name(mechanism.mechanism()) + " takes an initialisation vector of "
                    + IV_BYTES + " bytes, not of " + ((byte[]) parameter).length);
        }
        if (parameter instanceof MechanismParams) {
            ((MechanismParams) parameter).check();
        }
        return mechanism;
    }

    private static String advice(String name, String otherwise) {
        return ADVICE.stream().filter(entry -> name.contains(entry.getKey())).map(Map.Entry::getValue).findFirst()
                .orElse(otherwise);
    }
}
