package velnor.cli;

import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.EnumSet;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;
import java.util.function.Function;
import java.util.stream.Collectors;

import picocli.CommandLine.Command;
import picocli.CommandLine.Mixin;
import picocli.CommandLine.Option;
import picocli.CommandLine.Parameters;

import velnor.Attribute;
import velnor.CKA;
import velnor.CKK;
import velnor.CKO;
import velnor.Mechanism;
import velnor.Session;
import velnor.TokenKeyPair;
import velnor.TokenObject;
import velnor.table.MechanismTable;

@Command(name = "generate", description = "Make a key or a key pair on a token.")
final class GenerateCommand extends SessionCommand {
    /** What a key may be used for, on the public side of a pair and on the private one. */
    enum Use {
        SIGN(CKA.VERIFY, CKA.SIGN),
        ENCRYPT(CKA.ENCRYPT, CKA.DECRYPT),
        WRAP(CKA.WRAP, CKA.UNWRAP),
        DERIVE(CKA.DERIVE, CKA.DERIVE);

        private final int publicSide;
        private final int privateSide;

        Use(int publicSide, int privateSide) {
            this.publicSide = publicSide;
            this.privateSide = privateSide;
        }
    }

    /** What can be made. */
    enum Kind {
        AES(CKK.AES, 256, false, Use.ENCRYPT, Use.SIGN, Use.WRAP),
        DES3(CKK.DES3, null, false, Use.ENCRYPT, Use.SIGN),
        GENERIC(CKK.GENERIC_SECRET, 256, false, Use.SIGN),
        RSA(CKK.RSA, 2048, true, Use.SIGN, Use.ENCRYPT),
        EC(CKK.EC, null, true, Use.SIGN);

        private final int keyType;
        private final Integer usualBits;
        private final boolean pair;
        private final Set<Use> usualUses;

        Kind(int keyType, Integer usualBits, boolean pair, Use... usualUses) {
            this.keyType = keyType;
            this.usualBits = usualBits;
            this.pair = pair;
            this.usualUses = EnumSet.copyOf(Arrays.asList(usualUses));
        }
    }

    private static final byte[] F4 = {1, 0, 1};

    @Parameters(paramLabel = "TYPE", description = "What to make: ${COMPLETION-CANDIDATES}.")
    private Kind kind;

    @Mixin
    private KeyOptions name;

    @Option(names = "--bits", paramLabel = "NUMBER",
            description = "The size; if not given, 256 for AES and GENERIC, 2048 for RSA.")
    private Integer bits;

    @Option(names = "--curve", paramLabel = "NAME",
            description = "The curve of EC: P-256 (if not given), P-384, P-521, secp256k1, an object identifier, ...")
    private String curve;

    @Option(names = "--use", paramLabel = "USE", split = ",",
            description = "What it may be used for, separated by commas: ${COMPLETION-CANDIDATES}; if not given, what"
                    + " is usual for the type.")
    private List<Use> uses;

    @Option(names = "--extractable", description = "Let the key leave the token, wrapped.")
    private boolean extractable;

    @Option(names = "--always-authenticate", description = "Let the private key ask for the PIN each time.")
    private boolean alwaysAuthenticate;

    @Option(names = "--force", description = "Make it although the token has a key of this type and name.")
    private boolean force;

    GenerateCommand() {
        super(true, true);
    }

    @Override
    void prepare() {
        if (!name.given()) {
            throw Failure.usage("give the key a --label or an --id, to find it again");
        }
        if (curve != null && kind != Kind.EC) {
            throw Failure.usage("--curve belongs to EC");
        }
        if (bits != null && (kind.usualBits == null || bits <= 0 || !kind.pair && bits % Byte.SIZE != 0)) {
            throw Failure.usage(kind.usualBits == null ? kind + " has no --bits"
                    : "there is no " + kind + " key of " + bits + " bits");
        }
        if (alwaysAuthenticate && !kind.pair) {
            throw Failure.usage("--always-authenticate belongs to RSA and EC");
        }
        curveParameters();
    }

    @Override
    int run(Session session) throws IOException {
        if (!force && isThere(session)) {
            throw Failure.usage("the token has such a key of this name already; --force makes another one");
        }
        List<Fields> made = make(session).stream().map(ObjectFields::of).collect(Collectors.toList());
        standard.report(new Fields().with("objects", made), fields -> ObjectFields.table(made));
        return ExitCode.OK;
    }

    private boolean isThere(Session session) {
        List<Attribute> template = name.template();
        template.add(new Attribute(CKA.CLASS, kind.pair ? CKO.PRIVATE_KEY : CKO.SECRET_KEY));
        template.add(new Attribute(CKA.KEY_TYPE, kind.keyType));
        return session.findFirst(template.toArray(new Attribute[0])).isPresent();
    }

    private List<TokenObject> make(Session session) {
        Mechanism mechanism = new Mechanism(MechanismTable.usual(kind.keyType).generation().orElseThrow());
        if (!kind.pair) {
            return List.of(session.generateKey(mechanism, secret().toArray(new Attribute[0])));
        }
        TokenKeyPair pair = session.generateKeyPair(mechanism, publicSide().toArray(new Attribute[0]),
                privateSide().toArray(new Attribute[0]));
        return List.of(pair.publicKey(), pair.privateKey());
    }

    private List<Attribute> secret() {
        List<Attribute> template = hidden();
        if (kind.usualBits != null) {
            template.add(new Attribute(CKA.VALUE_LEN, bits() / Byte.SIZE));
        }
        addUses(template, use -> new TreeSet<>(List.of(use.publicSide, use.privateSide)));
        return template;
    }

    private List<Attribute> publicSide() {
        List<Attribute> template = kept();
        if (kind == Kind.RSA) {
            template.add(new Attribute(CKA.MODULUS_BITS, bits()));
            template.add(new Attribute(CKA.PUBLIC_EXPONENT, F4));
        } else if (kind == Kind.EC) {
            template.add(new Attribute(CKA.EC_PARAMS, curveParameters()));
        }
        addUses(template, use -> Set.of(use.publicSide));
        return template;
    }

    private List<Attribute> privateSide() {
        List<Attribute> template = hidden();
        addUses(template, use -> Set.of(use.privateSide));
        if (alwaysAuthenticate) {
            template.add(new Attribute(CKA.ALWAYS_AUTHENTICATE, true));
        }
        return template;
    }

    /** Says of each use whether it is meant: many a token allows what nobody has spoken of. */
    private void addUses(List<Attribute> template, Function<Use, Set<Integer>> attributes) {
        Set<Use> meant = uses == null ? kind.usualUses : EnumSet.copyOf(uses);
        for (Use use : Use.values()) {
            attributes.apply(use).forEach(type -> template.add(new Attribute(type, meant.contains(use))));
        }
    }

    private List<Attribute> hidden() {
        List<Attribute> template = kept();
        template.add(new Attribute(CKA.PRIVATE, true));
        template.add(new Attribute(CKA.SENSITIVE, true));
        template.add(new Attribute(CKA.EXTRACTABLE, extractable));
        return template;
    }

    private List<Attribute> kept() {
        List<Attribute> template = new ArrayList<>(name.template());
        template.add(new Attribute(CKA.TOKEN, true));
        return template;
    }

    private byte[] curveParameters() {
        return Curve.parameters(curve == null ? "P-256" : curve);
    }

    private int bits() {
        return bits != null ? bits : kind.usualBits;
    }
}
