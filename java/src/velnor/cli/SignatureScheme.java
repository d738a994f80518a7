package velnor.cli;

import java.io.IOException;
import java.security.DigestInputStream;
import java.security.MessageDigest;
import java.security.NoSuchAlgorithmException;
import java.util.Arrays;
import java.util.Optional;
import java.util.OptionalInt;

import velnor.Mechanism;
import velnor.Progress;
import velnor.TokenSlot;
import velnor.table.MechanismRow;
import velnor.table.MechanismTable;

/**
 * How a signature comes about. ECDSA with a digest is ECDSA of the digest, so where a token has the latter alone, as
 * many have, the digest is made here.
 */
final class SignatureScheme {
    private final Mechanism mechanism;
    private final String digest;

    private SignatureScheme(Mechanism mechanism, String digest) {
        this.mechanism = mechanism;
        this.digest = digest;
    }

    static SignatureScheme of(TokenSlot token, Mechanism wanted) {
        Optional<MechanismRow> row = MechanismTable.find(wanted.mechanism());
        OptionalInt base = row.isPresent() ? row.get().base() : OptionalInt.empty();
        return base.isEmpty() || token.supports(wanted.mechanism()) ? new SignatureScheme(wanted, null)
                : new SignatureScheme(new Mechanism(base.getAsInt()), row.get().digest());
    }

    /** What the token works with. */
    Mechanism mechanism() {
        return mechanism;
    }

    /** The digest that is made here, or null when the token is given the data. */
    String digest() {
        return digest;
    }

    /** What the token is given in one part; null when it is too long for that. */
    byte[] onePart(Input input) throws IOException {
        if (digest != null) {
            return digested(input);
        }
        return input.isShort() ? input.whole() : null;
    }

    private byte[] digested(Input input) throws IOException {
        MessageDigest made;
        try {
            made = MessageDigest.getInstance(digest);
        } catch (NoSuchAlgorithmException e) {
            throw new IllegalStateException(e);
        }
        byte[] buffer = new byte[1 << 16];
        try (DigestInputStream in = new DigestInputStream(input.stream(), made)) {
            Progress progress = input.progress();
            long bytes = 0;
            int length;
            while ((length = in.read(buffer)) > 0) {
                bytes += length;
                progress.progressed(bytes);
            }
            return made.digest();
        } finally {
            Arrays.fill(buffer, (byte) 0);
        }
    }
}
