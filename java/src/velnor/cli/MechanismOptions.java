package velnor.cli;

import java.util.Locale;
import java.util.function.IntSupplier;
import java.util.stream.Stream;

import picocli.CommandLine.Option;

import velnor.CKG;
import velnor.CKM;
import velnor.CKZ;
import velnor.Mechanism;
import velnor.params.CTRParams;
import velnor.params.ChaCha20Poly1305Params;
import velnor.params.GCMParams;
import velnor.params.MACGENERALParams;
import velnor.params.OAEPParams;
import velnor.params.PSSParams;
import velnor.table.MechanismTable;

/** How: the mechanism, with the parameters that fit on a command line. */
final class MechanismOptions {
    private enum Digest {
        SHA1(CKM.SHA_1, CKG.MGF1_SHA1, 20),
        SHA224(CKM.SHA224, CKG.MGF1_SHA224, 28),
        SHA256(CKM.SHA256, CKG.MGF1_SHA256, 32),
        SHA384(CKM.SHA384, CKG.MGF1_SHA384, 48),
        SHA512(CKM.SHA512, CKG.MGF1_SHA512, 64);

        private final int mechanism;
        private final int mgf;
        private final int length;

        Digest(int mechanism, int mgf, int length) {
            this.mechanism = mechanism;
            this.mgf = mgf;
            this.length = length;
        }
    }

    @Option(names = "--mechanism", paramLabel = "NAME",
            description = "The mechanism by its PKCS#11 name, with or without CKM_, or its number; if not given, what"
                    + " is usual for the key.")
    private String name;

    @Option(names = "--iv", paramLabel = "HEX",
            description = "The initialisation vector, nonce or counter block that the mechanism takes.")
    private Hex iv;

    @Option(names = "--oaep-digest", paramLabel = "DIGEST",
            description = "The digest of RSA_PKCS_OAEP and of its mask: ${COMPLETION-CANDIDATES}; SHA1 if not given.")
    private Digest oaepDigest;

    @Option(names = "--oaep-label", paramLabel = "HEX", description = "The label of RSA_PKCS_OAEP; empty if not given.")
    private Hex oaepLabel;

    @Option(names = "--mac-length", paramLabel = "BYTES",
            description = "How long the MAC of a mechanism called ..._GENERAL is to be.")
    private Integer macLength;

    Mechanism mechanism(IntSupplier usual) {
        int code = name == null ? usual.getAsInt() : code(name);
        refuseStrangeParameters(code);
        if (code == CKM.RSA_PKCS_OAEP) {
            return new Mechanism(code, oaepParameter());
        }
        if (macLength != null) {
            return new Mechanism(code, new MACGENERALParams(macLength));
        }
        return new Mechanism(code, iv == null ? pssParameter(code) : ivParameter(code, iv.bytes()));
    }

    private static boolean takes(int code, Class<?> parameter) {
        return MechanismTable.find(code).filter(row -> row.parameterClasses().contains(parameter)).isPresent();
    }

    private static Object ivParameter(int code, byte[] iv) {
        if (takes(code, CTRParams.class)) {
            return new CTRParams(iv);
        }
        if (takes(code, GCMParams.class)) {
            return new GCMParams(iv);
        }
        return takes(code, ChaCha20Poly1305Params.class) ? new ChaCha20Poly1305Params(iv, null) : iv;
    }

    /** The digest of the message for the mask too, and a salt as long; null for all but PSS with a digest. */
    private static PSSParams pssParameter(int code) {
        if (!takes(code, PSSParams.class)) {
            return null;
        }
        return Stream.of(Digest.values()).filter(digest -> CKM.name(code).equals("CKM_" + digest + "_RSA_PKCS_PSS"))
                .findFirst().map(digest -> new PSSParams(digest.mechanism, digest.mgf, digest.length)).orElse(null);
    }

    private void refuseStrangeParameters(int code) {
        boolean oaep = code == CKM.RSA_PKCS_OAEP;
        if (!oaep && (oaepDigest != null || oaepLabel != null)) {
            throw Failure.usage("--oaep-digest and --oaep-label belong to RSA_PKCS_OAEP, not to " + CKM.name(code));
        }
        if (macLength != null && iv != null || oaep && (macLength != null || iv != null)) {
            throw Failure.usage("no mechanism takes all of these parameters");
        }
        if (iv == null) {
            MechanismTable.find(code).filter(row -> row.needsParameter() && !row.parameterLengths().isEmpty())
                    .ifPresent(row -> {
                        throw Failure.usage(CKM.name(code) + " needs an initialisation vector of "
                                + row.parameterLengths().iterator().next() + " bytes, --iv");
                    });
            if (takes(code, CTRParams.class) || takes(code, GCMParams.class)
                    || takes(code, ChaCha20Poly1305Params.class)) {
                throw Failure.usage(CKM.name(code) + " needs an initialisation vector, --iv");
            }
        }
    }

    private OAEPParams oaepParameter() {
        Digest digest = oaepDigest == null ? Digest.SHA1 : oaepDigest;
        return new OAEPParams(digest.mechanism, digest.mgf, CKZ.DATA_SPECIFIED,
                oaepLabel == null ? null : oaepLabel.bytes());
    }

    static int code(String name) {
        if (!name.isEmpty() && Character.isDigit(name.charAt(0))) {
            return Numbers.code(name, "--mechanism");
        }
        return CKM.forName(name.toUpperCase(Locale.ROOT).replace('-', '_')).orElseThrow(
                () -> Failure.usage("PKCS#11 has no mechanism " + name + "; the command mechanisms lists the token's"));
    }
}
