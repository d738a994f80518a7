package velnor;

import java.util.Arrays;
import java.util.Objects;
import java.util.function.ToLongFunction;

import velnor.nat.Function;
import velnor.nat.NativeFunctions;
import velnor.nat.Structure;

/** How a session has keys made, wrapped, unwrapped and derived, and objects created: none comes out incomplete. */
final class KeyManagement {
    /** More than any key wrapped is long: a token that asks for as much is wrong. */
    private static final int MOST_WRAPPED = 1 << 24;

    /** A call that makes an object. */
    private interface Making {
        int call(long module, long session, long[] made);
    }

    private final Session session;
    private final SessionHandle handle;

    KeyManagement(Session session, SessionHandle handle) {
        this.session = session;
        this.handle = handle;
    }

    TokenObject create(Attribute... template) {
        Structure laidOut = Templates.structure(template);
        try {
            CompleteKeys.checkTemplate(template);
            return made(Function.CREATE_OBJECT,
                    (module, id, object) -> NativeFunctions.create(module, id, laidOut.bytes(), object));
        } finally {
            laidOut.wipe();
        }
    }

    TokenObject generate(Mechanism mechanism, Attribute... template) {
        MechanismParameters.check(mechanism);
        Structure laidOut = Templates.structure(template);
        try (Parameter parameter = Parameter.of(mechanism)) {
            TokenObject key = made(Function.GENERATE_KEY, (module, id, made) -> NativeFunctions.generateKey(module,
                    id, mechanism.type(), parameter.bytes(), laidOut.bytes(), made));
            parameter.takeBack();
            return key;
        } finally {
            laidOut.wipe();
        }
    }

    TokenKeyPair generatePair(Mechanism mechanism, Attribute[] publicTemplate, Attribute[] privateTemplate) {
        MechanismParameters.check(mechanism);
        Structure publicKey = Templates.structure(publicTemplate);
        Structure privateKey = Templates.structure(privateTemplate);
        long[] pair = new long[2];
        try (Parameter parameter = Parameter.of(mechanism)) {
            handle.require(Function.GENERATE_KEY_PAIR, (module, id) -> NativeFunctions.generateKeyPair(module,
                    id, mechanism.type(), parameter.bytes(), publicKey.bytes(), privateKey.bytes(), pair));
            parameter.takeBack();
        } finally {
            publicKey.wipe();
            privateKey.wipe();
        }
        return new TokenKeyPair(session.object(pair[0]), session.object(pair[1]));
    }

    byte[] wrap(Mechanism mechanism, TokenObject wrappingKey, TokenObject key) {
        MechanismParameters.check(mechanism);
        long wrapping = handle.usable(mechanism, wrappingKey);
        long wrapped = handle.usable(key);
        try (Parameter parameter = Parameter.of(mechanism)) {
            byte[] result = handle.call((module, id) -> wrapped(
                    out -> NativeFunctions.wrapKey(module, id, mechanism.type(), parameter.bytes(), wrapping,
                            wrapped, out)));
            parameter.takeBack();
            return result;
        }
    }

    /** Asks for the length first, and once: a mechanism that makes a vector of its own would make several. */
    private static byte[] wrapped(ToLongFunction<byte[]> into) {
        byte[] out = new byte[(int) Math.min(Answers.require(Function.WRAP_KEY, into.applyAsLong(null)), MOST_WRAPPED)];
        int length = (int) Answers.require(Function.WRAP_KEY, into.applyAsLong(out));
        return length == out.length ? out : Arrays.copyOf(out, length);
    }

    TokenObject unwrap(Mechanism mechanism, TokenObject unwrappingKey, byte[] wrapped, int off, int len,
            Attribute... template) {
        MechanismParameters.check(mechanism);
        Objects.checkFromIndexSize(off, len, wrapped.length);
        long unwrapping = handle.usable(mechanism, unwrappingKey);
        Structure laidOut = Templates.structure(template);
        try (Parameter parameter = Parameter.of(mechanism)) {
            CompleteKeys.checkParts(template);
            TokenObject key = made(Function.UNWRAP_KEY, (module, id, made) -> NativeFunctions.unwrapKey(module,
                    id, mechanism.type(), parameter.bytes(), unwrapping, wrapped, off, len, laidOut.bytes(),
                    made));
            requireComplete(key, template);
            parameter.takeBack();
            return key;
        } finally {
            laidOut.wipe();
        }
    }

    TokenObject derive(Mechanism mechanism, TokenObject baseKey, Attribute... template) {
        MechanismParameters.check(mechanism);
        long base = handle.usable(mechanism, baseKey);
        Structure laidOut = Templates.structure(template);
        try (Parameter parameter = Parameter.of(mechanism)) {
            CompleteKeys.checkParts(template);
            TokenObject key = made(Function.DERIVE_KEY, (module, id, made) -> NativeFunctions.deriveKey(module,
                    id, mechanism.type(), parameter.bytes(), base, laidOut.bytes(), made));
            if (key.handle() != CK.INVALID_HANDLE) {
                requireComplete(key, template);
            }
            parameter.takeBack();
            return key;
        } finally {
            laidOut.wipe();
        }
    }

    /**
     * Destroys a new key that is not complete where it would stay on the token, for others to use. A session key ends
     * with the session, unknown to anybody: NSS was seen to corrupt the heap over such keys that were destroyed.
     */
    private static void requireComplete(TokenObject key, Attribute... template) {
        try {
            key.requireComplete();
        } catch (RuntimeException e) {
            try {
                if (Arrays.stream(template).anyMatch(KeyManagement::isForTheToken)) {
                    key.destroy();
                }
            } catch (RuntimeException staysThere) {
                e.addSuppressed(staysThere);
            }
            throw e;
        }
    }

    private static boolean isForTheToken(Attribute attribute) {
        return attribute.typeCode() == CKA.TOKEN && Boolean.TRUE.equals(attribute.value());
    }

    private TokenObject made(Function function, Making call) {
        long[] made = new long[1];
        handle.require(function, (module, id) -> call.call(module, id, made));
        return session.object(made[0]);
    }
}
